#include "bus/JsonText.h"

#include <json/reader.h>

namespace {

constexpr bool COLLECT_COMMENTS = false;

bool read(std::string_view text, Json::Value& value) {
    try {
        thread_local Json::Reader reader;
        return reader.parse(text.data(), text.data() + text.size(), value, COLLECT_COMMENTS);
    } catch (Json::Exception const&) {
        // The reader's answer to nesting beyond its stack limit. A text from the bus must not be
        // able to end the library's thread.
        return false;
    }
}

} // namespace

bool parseJson(std::string_view text, Json::Value& value) {
    if (read(text, value)) {
        return true;
    }
    value = Json::Value();
    return false;
}
