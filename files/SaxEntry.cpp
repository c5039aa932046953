// The ways into libxml2, by its version: those of old have been put aside in favour of a parser
// that the caller makes, and no way has been there all the time.
#include "SaxEntry.h"

#include "SaxParser.h"

#if LIBXML_VERSION >= 21400

#include <fstream>
#include <iterator>
#include <memory>

namespace {

struct FreeParser {
    void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
};

xmlParserErrors refuse(void* /*context*/, char const* /*url*/, char const* /*id*/,
                       xmlResourceType /*type*/, xmlParserInputFlags /*flags*/,
                       xmlParserInput** /*input*/) {
    return XML_IO_ENOENT;
}

} // namespace

int enterWithText(SaxRun& run, xmlSAXHandler& handler, std::string const& text) {
    // The parser is not its own user data: one that finds itself there declares the entities of a
    // document on its own. Test: XmlEntities.NeverOpenAnotherFile.
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
    std::ifstream file(path, std::ios::binary);
    std::string const text{std::istreambuf_iterator<char>(file), {}};
    return file.is_open() && !file.bad() ? enterWithText(run, handler, text) : -1;
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
    // of a document on its own, and opens what they name. Test: XmlEntities.NeverOpenAnotherFile.
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
