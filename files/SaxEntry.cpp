// The ways into libxml2, by its version. Version 2.14 wants a parser that the caller makes; the
// functions that older versions have are deprecated there.
#include "SaxEntry.h"

#include "SaxParser.h"

#if LIBXML_VERSION >= 21400

#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <utility>

namespace {

struct FreeParser {
    void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
};

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/** Nothing if the file cannot be opened, or read to its end: a folder can be opened only. */
std::optional<std::string> contentOf(std::string const& path) {
    std::unique_ptr<std::FILE, CloseFile> const file(std::fopen(path.c_str(), "rbe"));
    if (file == nullptr) {
        return std::nullopt;
    }
    std::string text;
    std::array<char, 65536> piece{};
    while (std::size_t const read = std::fread(piece.data(), 1, piece.size(), file.get())) {
        text.append(piece.data(), read);
    }
    return std::ferror(file.get()) == 0 ? std::make_optional(std::move(text)) : std::nullopt;
}

xmlParserErrors refuse(void* /*context*/, char const* /*url*/, char const* /*id*/,
                       xmlResourceType /*type*/, xmlParserInputFlags /*flags*/,
                       xmlParserInput** /*input*/) {
    return XML_IO_ENOENT;
}

} // namespace

int enterWithText(SaxRun& run, xmlSAXHandler& handler, std::string const& text) {
    // The parser is not its own user data: one that finds itself there declares the entities of a
    // document on its own. Test: XmlEntities.OfAFileAreNeverDeclared.
    std::unique_ptr<xmlParserCtxt, FreeParser> const parser(xmlNewSAXParserCtxt(&handler, &run));
    if (parser == nullptr) {
        return -1;
    }
    xmlCtxtSetOptions(parser.get(), XML_PARSE_NOENT);
    xmlCtxtSetResourceLoader(parser.get(), refuse, nullptr);
    run.take(parser.get());
    constexpr auto FLAGS =
        static_cast<xmlParserInputFlags>(XML_INPUT_BUF_STATIC | XML_INPUT_BUF_ZERO_TERMINATED);
    xmlParserInput* const input = xmlNewInputFromMemory(nullptr, text.data(), text.size(), FLAGS);
    xmlFreeDoc(xmlCtxtParseDocument(parser.get(), input));
    constexpr unsigned int FAILED = XML_STATUS_NOT_WELL_FORMED | XML_STATUS_CATASTROPHIC_ERROR;
    return (xmlCtxtGetStatus(parser.get()) & FAILED) == 0 ? 0 : -1;
}

int enterWithFile(SaxRun& run, xmlSAXHandler& handler, std::string const& path) {
    // Read as a whole, so that what follows a text is there to be looked at, see CParseTagId.
    std::optional<std::string> const text = contentOf(path);
    return text ? enterWithText(run, handler, *text) : -1;
}

#else

#include <fcntl.h>
#include <utility>

namespace {

/** The file that the parse under way has still to open. */
char const* fileToOpen = nullptr;

xmlParserInput* openAsNamed(char const* /*url*/, char const* /*id*/, xmlParserCtxt* parser) {
    char const* const path = std::exchange(fileToOpen, nullptr);
    int const fd = path == nullptr ? -1 : open(path, O_RDONLY | O_CLOEXEC);
    if (fd == -1) {
        return nullptr;
    }
    xmlParserInputBuffer* const buffer = xmlParserInputBufferCreateFd(fd, XML_CHAR_ENCODING_NONE);
    return xmlNewIOInputStream(parser, buffer, XML_CHAR_ENCODING_NONE);
}

/**
 * While it lives, libxml2 opens one file by the very name that it has, and nothing else. By itself
 * it takes a name for a URL: it decodes "%20", and fetches what begins with "http:".
 */
class FileAccess {
public:
    explicit FileAccess(std::string const& path) : mLoaderBefore(xmlGetExternalEntityLoader()) {
        fileToOpen = path.c_str();
        xmlSetExternalEntityLoader(openAsNamed);
    }
    ~FileAccess() {
        xmlSetExternalEntityLoader(mLoaderBefore);
        fileToOpen = nullptr;
    }
    FileAccess(FileAccess const&) = delete;
    FileAccess& operator=(FileAccess const&) = delete;

private:
    xmlExternalEntityLoader mLoaderBefore;
};

/** The first callback. Without user data the parser gives itself to it. */
void start(void* context) {
    auto* const parser = static_cast<xmlParserCtxt*>(context);
    SaxRun& run = SaxRun::current();
    run.take(parser);
    // From here on it has user data of ours: a parser that finds itself there declares the entities
    // of a document on its own. Test: XmlEntities.OfAFileAreNeverDeclared.
    parser->userData = &run;
}

void prepare(xmlSAXHandler& handler) {
    // Without this a stored "&amp;" would come back as "&#38;". Set for each parse, since
    // xmlCleanupParser() may forget it. No entity of a file's own gains from it: there is no
    // callback that would declare or find one. Test: XmlEntities.*
    xmlSubstituteEntitiesDefault(1);
    handler.startDocument = start;
}

} // namespace

int enterWithFile(SaxRun& /*run*/, xmlSAXHandler& handler, std::string const& path) {
    FileAccess const access(path);
    prepare(handler);
    return xmlSAXUserParseFile(&handler, nullptr, path.c_str());
}

int enterWithText(SaxRun& /*run*/, xmlSAXHandler& handler, std::string const& text) {
    prepare(handler);
    return xmlSAXUserParseMemory(&handler, nullptr, text.data(), static_cast<int>(text.size()));
}

#endif
