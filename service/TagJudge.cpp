// What somebody on the bus has sent comes in here and leaves as records that can be kept, or not at
// all: one field of a wrong kind refuses the whole request, since half a request would be a tag
// that nobody asked for. Nothing is kept between two requests.
#include "service/TagJudge.h"

#include "bus/JsonText.h"
#include "files/safe/XmlText.h"
#include "service/JsonElements.h"
#include "service/Replies.h"
#include "service/RequestedTag.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace {

/** A value takes about 150 bytes in memory, whatever its text. */
constexpr std::size_t MOST_VALUES = 200000;

/** How many values a JSON text can hold at most: one more than it has separators. */
std::size_t valuesIn(std::string_view text) {
    std::size_t count = 1;
    bool inText = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        char const byte = text[at];
        if (byte == '\\') {
            ++at;
        } else if (byte == '"') {
            inText = !inText;
        } else if (!inText && (byte == ',' || byte == '[' || byte == '{')) {
            ++count;
        }
    }
    return count;
}

/** Gives a field to an action; whatever the JSON library throws refuses the request. */
template <class Action>
auto reading(char const* field, Action action) {
    try {
        return action();
    } catch (Json::Exception const&) {
        throw Refusal(std::string("\"") + field + "\" is of the wrong kind or out of range");
    }
}

[[noreturn]] void refuse(char const* field) {
    throw Refusal(std::string("\"") + field + "\" is of the wrong kind or out of range");
}

bool isDigits(std::string const& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool fits64Bits(std::string const& digits) {
    static std::string const MOST = std::to_string(std::numeric_limits<std::uint64_t>::max());
    std::string const number =
        digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
    return number.size() < MOST.size() || (number.size() == MOST.size() && number <= MOST);
}

/** Up to 64 bits as a number or as digits in a text; empty where there is none. */
std::string readNumber64(Json::Value const& json, char const* field) {
    Json::Value const& value = json[field];
    if (value.isString()) {
        std::string text = value.asString();
        if (!isDigits(text) || !fits64Bits(text)) {
            refuse(field);
        }
        return text;
    }
    return reading(field, [&]() -> std::string {
        if (value.isUInt64() || value.isNull() || value.isBool()) {
            return std::to_string(value.asUInt64());
        }
        return value.isInt64() ? std::to_string(value.asInt64()) : (refuse(field), "");
    });
}

std::string readText(Json::Value const& json, char const* field) {
    return reading(field, [&] { return xmlHoldable(json[field].asString()); });
}

void readNumbers(CAmbigTag& tag, Json::Value const& json) {
    if (json.isMember("iTunesSongID")) {
        std::string const id = readNumber64(json, "iTunesSongID");
        tag.iTunesSongID(id.find('-') == std::string::npos ? id : "");
    }
    if (json.isMember("PodcastFeedURL")) {
        std::string const feed = readNumber64(json, "PodcastFeedURL");
        tag.PodcastFeedURL(feed == "0" ? "" : feed);
    }
    if (json.isMember("ButtonPressed")) {
        tag.ButtonPressed(
            reading("ButtonPressed", [&] { return json["ButtonPressed"].asBool(); }) ? 1 : 0);
    }
    if (json.isMember("iTunesStorefrontID")) {
        Json::Value const& value = json["iTunesStorefrontID"];
        tag.iTunesStorefrontID(reading("iTunesStorefrontID", [&] {
            return value.isUInt() ? value.asUInt() : static_cast<std::uint32_t>(value.asInt());
        }));
    }
    if (json.isMember("ProgramNumber")) {
        tag.ProgramNumber(reading("ProgramNumber", [&] { return json["ProgramNumber"].asInt(); }));
    }
}

CAmbigTag judgeTag(Json::Value const& json) {
    if (!json.isObject()) {
        refuse("tags");
    }
    CAmbigTag tag;
    for (RequestedText const& text : REQUESTED_TEXTS) {
        if (json.isMember(text.key)) {
            (tag.*text.keep)(readText(json, text.key));
        }
    }
    static_cast<void>(readText(json, "iTunesStationID")); // no member in a record
    readNumbers(tag, json);
    return tag;
}

int judgeDeviceId(Json::Value const& params) {
    return reading("deviceID", [&] { return readDeviceId(params); });
}

} // namespace

Json::Value judgeText(std::string_view text) {
    if (text.size() > MOST_TEXT_BYTES) {
        throw Refusal("a text of more than 1 MiB");
    }
    if (valuesIn(text) > MOST_VALUES) {
        throw Refusal("a text of too many values");
    }
    Json::Value value;
    parseJson(text, value);
    return value;
}

JudgedTags judgeTags(Json::Value const& params) {
    JudgedTags judged;
    judged.deviceId = judgeDeviceId(params);
    Json::Value const& tags = params["tags"];
    if (!tags.isArray()) {
        refuse("tags");
    }
    for (Json::Value const& tag : tags) {
        judged.tags.push_back(judgeTag(tag));
    }
    return judged;
}

JudgedCheck judgeCheck(Json::Value const& params) {
    JudgedCheck judged;
    Json::Value const& list = params.isObject() ? params["tagInfo"] : Json::Value::nullSingleton();
    if (hasElements(list)) {
        if (!list.isArray() || !list[0U].isObject()) {
            refuse("tagInfo");
        }
        Json::Value const& song = list[0U];
        judged.songId = NOSONGID;
        reading("Name", [&] { readIfPresent(song, "Name", judged.name); });
        reading("Artist", [&] { readIfPresent(song, "Artist", judged.artist); });
        reading("iTunesSongID", [&] { readIfPresent(song, "iTunesSongID", judged.songId); });
    }
    judged.deviceId = judgeDeviceId(params);
    return judged;
}

std::tuple<std::string, std::string, std::string> JudgedCheck::identity() const {
    return {xmlHoldable(name), xmlHoldable(artist), songId == NOSONGID ? "" : songId};
}
