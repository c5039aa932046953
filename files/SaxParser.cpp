// The fence around libxml2.
//
// libxml2 is C: an exception that crossed its frames would skip its clean-up. So it never sees a
// callback itself but a wrapper, which keeps the first exception, stops the parser and turns all
// further callbacks of the same parse into nothing. The parser gives back what it holds, and only
// then is the exception raised again, to go on as if it had been thrown in the parse. What the
// parser returns is not looked at in that case: a parser that was stopped may well report success.
#include "SaxParser.h"

#include "SaxEntry.h"

#include <cassert>
#include <cstdio>

namespace {

constexpr int OLDEST_LIBXML2 = 20703;

SaxRun* runUnderWay = nullptr;

template <class Parse>
int run(void* userData, Parse parse) {
    SaxRun underWay(userData);
    int const result = parse(underWay);
    underWay.raiseFailure();
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

void SaxRun::take(xmlParserCtxt* parser) {
    mParser = parser;
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

int parseFile(xmlSAXHandler& handler, void* userData, std::string const& path) {
    return run(userData, [&](SaxRun& underWay) { return enterWithFile(underWay, handler, path); });
}

int parseMemory(xmlSAXHandler& handler, void* userData, std::string const& text) {
    return run(userData, [&](SaxRun& underWay) { return enterWithText(underWay, handler, text); });
}
