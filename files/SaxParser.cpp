// The fence around libxml2.
//
// libxml2 is C: an exception that crossed its frames would skip its clean-up. So it never sees a
// callback itself but a wrapper, which keeps the first exception, stops the parser and turns all
// further callbacks of the same parse into nothing. The parser gives back what it holds, and only
// then is the exception raised again, to go on as if it had been thrown in the parse. What the
// parser returns is not looked at in that case: a parser that was stopped may well report success.
#include "SaxParser.h"

#include <cassert>
#include <cstdio>
#include <fcntl.h>
#include <utility>

namespace {

constexpr int OLDEST_LIBXML2 = 20703;

SaxRun* runUnderWay = nullptr;

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

template <class Parse>
int parse(xmlSAXHandler& handler, void* userData, Parse source) {
    // Without this a stored "&amp;" would come back as "&#38;". Set for each parse, since
    // xmlCleanupParser() may forget it. No entity of a file's own gains from it: there is no
    // callback that would declare or find one. Test: XmlEntities.*
    xmlSubstituteEntitiesDefault(1);
    SaxRun run(userData);
    handler.startDocument = SaxRun::start;
    int const result = source();
    run.raiseFailure();
    return result;
}

} // namespace

SaxRun::SaxRun(void* userData) : mUserData(userData) {
    assert(runUnderWay == nullptr);
    runUnderWay = this;
}

SaxRun::~SaxRun() {
    runUnderWay = nullptr;
}

SaxRun& SaxRun::current() {
    return *runUnderWay;
}

void SaxRun::start(void* parser) {
    SaxRun& run = current();
    run.mParser = static_cast<xmlParserCtxt*>(parser);
    // From here on it has user data of ours: a parser that finds itself there declares the entities
    // of a document on its own, and opens what they name. Test: XmlEntities.NeverOpenAnotherFile.
    run.mParser->userData = run.mUserData;
}

void SaxRun::stopAfterFailure() {
    if (mFailure) {
        xmlStopParser(mParser);
    }
}

void SaxRun::raiseFailure() const {
    if (mFailure) {
        std::rethrow_exception(mFailure);
    }
}

std::string formatted(char const* format, std::va_list arguments) {
    std::va_list copy;
    va_copy(copy, arguments);
    int const length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (length <= 0) {
        return {};
    }
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    return text;
}

void checkLibXml() {
    xmlCheckVersion(OLDEST_LIBXML2);
}

// Without user data the parser gives itself to the first callback, which is how it can be stopped.

int parseFile(xmlSAXHandler& handler, void* userData, std::string const& path) {
    FileAccess const access(path);
    return parse(handler, userData,
                 [&] { return xmlSAXUserParseFile(&handler, nullptr, path.c_str()); });
}

int parseMemory(xmlSAXHandler& handler, void* userData, std::string const& text) {
    return parse(handler, userData, [&] {
        return xmlSAXUserParseMemory(&handler, nullptr, text.data(), static_cast<int>(text.size()));
    });
}
