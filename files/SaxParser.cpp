// The fence around libxml2.
//
// libxml2 is C: an exception that crossed its frames would skip its clean-up. So it never sees a
// callback itself but a wrapper, which keeps the first exception and turns all further callbacks of
// the same parse into nothing. The parser runs to its end unheard, gives back what it holds, and
// only then is the exception raised again, to go on as if it had been thrown in the parse.
#include "SaxParser.h"

#include <cstdio>

namespace {

constexpr int OLDEST_LIBXML2 = 20703;

template <class Parse>
int parse(void* userData, Parse source) {
    // Without this a stored "&amp;" would come back as "&#38;". Set for each parse, since
    // xmlCleanupParser() may forget it. No entity of a file's own gains from it: there is no
    // callback that would declare or find one. Test: XmlEntities.*
    xmlSubstituteEntitiesDefault(1);
    SaxRun run{userData, nullptr};
    int const result = source(&run);
    if (run.failure) {
        std::rethrow_exception(run.failure);
    }
    return result;
}

} // namespace

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
    return parse(userData,
                 [&](SaxRun* run) { return xmlSAXUserParseFile(&handler, run, path.c_str()); });
}

int parseMemory(xmlSAXHandler& handler, void* userData, std::string const& text) {
    return parse(userData, [&](SaxRun* run) {
        return xmlSAXUserParseMemory(&handler, run, text.data(), static_cast<int>(text.size()));
    });
}
