#include "tools/Requests.h"

#include "tools/Failures.h"
#include "tools/RequestFields.h"
#include "tools/Text.h"

#include <json/reader.h>
#include <json/writer.h>

#include <sstream>

namespace {

/** Whether the service's reading, which is the same library's, takes a value. */
template <class Read>
bool takes(Read read) {
    try {
        read();
        return true;
    } catch (std::exception const&) {
        return false;
    }
}

constexpr char WHOLE_NUMBER[] = "a whole number from -2147483648 to 2147483647";

void requireText(std::string const& place, Json::Value const& value) {
    if (!takes([&] { value.asString(); })) {
        throw Failure(place + " is " + shown(value) + ", where a text is expected");
    }
}

void requireNumber(std::string const& place, Json::Value const& value) {
    if (!takes([&] { value.asInt(); })) {
        throw Failure(place + " is " + shown(value) + ", where " + WHOLE_NUMBER + " is expected");
    }
}

void requireYesNo(std::string const& place, Json::Value const& value) {
    if (!takes([&] { value.asBool(); })) {
        throw Failure(place + " is " + shown(value) + ", where true or false is expected");
    }
}

void requireField(std::string const& place, FieldKind kind, Json::Value const& value) {
    switch (kind) {
    case FieldKind::Text:
        return requireText(place, value);
    case FieldKind::Number:
        return requireNumber(place, value);
    case FieldKind::YesNo:
        return requireYesNo(place, value);
    }
}

void requireTag(std::string const& place, Json::Value const& tag) {
    if (!tag.isObject()) {
        throw Failure(place + " is " + shown(tag)
                      + ", where an object with the fields of a tag is expected");
    }
    for (RequestField const& field : requestFields()) {
        if (tag.isMember(field.key)) {
            requireField(place + "." + field.key, field.kind, tag[field.key]);
        }
    }
}

std::string trimmed(std::string const& line) {
    std::size_t const first = line.find_first_not_of("* ");
    return first == std::string::npos ? std::string() : line.substr(first);
}

/** The reader's first complaint in one line: where, and what. */
std::string complaintOf(Json::Reader const& reader) {
    std::istringstream lines(reader.getFormattedErrorMessages());
    std::string place;
    std::string what;
    std::getline(lines, place);
    std::getline(lines, what);
    return trimmed(place) + ": " + trimmed(what);
}

} // namespace

std::string shown(Json::Value const& value) {
    constexpr std::size_t LONGEST = 60;
    std::string text = Json::FastWriter().write(value);
    text.erase(text.find_last_not_of('\n') + 1);
    return text.size() <= LONGEST ? printable(text)
                                  : "a " + std::to_string(text.size()) + " bytes long value";
}

Json::Value parseJson(std::string const& text, std::string const& what) {
    constexpr bool WITH_COMMENTS = false;
    if (!isUtf8(text)) {
        throw Failure(what + " is not UTF-8 text, or holds a zero byte");
    }
    Json::Reader reader;
    Json::Value value;
    bool isJson = false;
    // Too deep a nesting is thrown.
    bool const isShallow = takes([&] { isJson = reader.parse(text, value, WITH_COMMENTS); });
    if (!isShallow) {
        throw Failure(what + " is not JSON that can be read: it nests too deep");
    }
    if (!isJson) {
        throw Failure(what + " is not JSON: " + complaintOf(reader));
    }
    return value;
}

void requireReadable(Json::Value const& request) {
    if (!request.isObject()) {
        throw Failure("the request is " + shown(request)
                      + R"(, where an object such as {"tags":[{"Name":"..."}]} is expected)");
    }
    if (request.isMember("deviceID")) {
        requireNumber("deviceID", request["deviceID"]);
    }
    Json::Value const& tags = request["tags"];
    if (!tags.isNull() && !tags.isArray()) {
        throw Failure("tags is " + shown(tags) + ", where a list of tags is expected");
    }
    Json::ArrayIndex index = 0;
    for (Json::Value const& tag : tags) {
        requireTag("tags[" + std::to_string(index++) + "]", tag);
    }
}

Json::Value parseTagRequest(std::string const& text, std::string const& what) {
    Json::Value request = parseJson(text, what);
    requireReadable(request);
    return request;
}
