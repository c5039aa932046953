#include "files/safe/TolerantReader.h"

#include <array>
#include <cerrno>
#include <libxml/parser.h>
#include <memory>
#include <unistd.h>

namespace {

constexpr std::size_t CHUNK = 65536;
constexpr std::ptrdiff_t POINTERS_PER_ATTRIBUTE = 5;

struct Run {
    XmlEvents const& events;
    bool damaged = false;
};

Run& runOf(void* context) {
    return *static_cast<Run*>(static_cast<xmlParserCtxt*>(context)->_private);
}

std::string textOf(xmlChar const* text) {
    return reinterpret_cast<char const*>(text);
}

void onStart(void* context, xmlChar const* name, xmlChar const*, xmlChar const*, int,
             xmlChar const**, int count, int, xmlChar const** attributes) {
    Run& run = runOf(context);
    if (run.damaged) {
        return;
    }
    std::map<std::string, std::string> values;
    for (int index = 0; index < count; ++index) {
        xmlChar const** const tuple = attributes + index * POINTERS_PER_ATTRIBUTE;
        values[textOf(tuple[0])] = std::string(reinterpret_cast<char const*>(tuple[3]),
                                               reinterpret_cast<char const*>(tuple[4]));
    }
    run.events.start(textOf(name), std::move(values));
}

void onEnd(void* context, xmlChar const* name, xmlChar const*, xmlChar const*) {
    Run& run = runOf(context);
    if (!run.damaged) {
        run.events.end(textOf(name));
    }
}

void onCharacters(void* context, xmlChar const* text, int length) {
    Run& run = runOf(context);
    if (!run.damaged) {
        run.events.characters(
            {reinterpret_cast<char const*>(text), static_cast<std::size_t>(length)});
    }
}

/** Nothing behind the damage counts, although the parser may still look at what it has. */
void onError(void* context, char const*, ...) {
    runOf(context).damaged = true;
}

void onWarning(void*, char const*, ...) {}

xmlSAXHandler handlers() {
    xmlSAXHandler handler{};
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = onStart;
    handler.endElementNs = onEnd;
    handler.characters = onCharacters;
    handler.error = onError;
    handler.fatalError = onError;
    handler.warning = onWarning;
    return handler;
}

struct EndOfParser {
    void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
};
using Parser = std::unique_ptr<xmlParserCtxt, EndOfParser>;

} // namespace

XmlRead readTolerantly(int fd, XmlEvents const& events) {
    xmlSAXHandler handler = handlers();
    Parser const parser(xmlCreatePushParserCtxt(&handler, nullptr, nullptr, 0, nullptr));
    if (parser == nullptr) {
        errno = ENOMEM;
        return XmlRead::Failed;
    }
    Run run{events};
    parser->_private = &run;
    xmlCtxtUseOptions(parser.get(), XML_PARSE_NOENT | XML_PARSE_NONET);
    std::array<char, CHUNK> chunk; // NOLINT: filled by read
    for (;;) {
        ssize_t const count = read(fd, chunk.data(), chunk.size());
        if (count == -1 && errno == EINTR) {
            continue;
        }
        if (count == -1) {
            return XmlRead::Failed;
        }
        int const last = count == 0 ? 1 : 0;
        int const error = xmlParseChunk(parser.get(), chunk.data(), static_cast<int>(count), last);
        if (error != 0 || run.damaged || parser->wellFormed == 0) {
            return XmlRead::Damaged;
        }
        if (last != 0) {
            return XmlRead::Whole;
        }
    }
}
