#include "radio/JsonReader.h"

#include "bus/JsonText.h"
#include "radio/FileIdentifier.h"
#include "radio/LogLine.h"
#include "radio/TagMembers.h"
#include "radio/Text.h"

#include <algorithm>
#include <array>

namespace {

constexpr char TIME[] = "time";
constexpr char STATION[] = "station";
constexpr char SLOGAN[] = "slogan";
constexpr char SYNCHRONIZED[] = "synchronized";
constexpr char SONG[] = "song";

/** Members of an event that no tag has. */
constexpr std::array<std::string_view, 3> PASSED_OVER = {"comment", "comments", "xhdr"};

/** What a value says as text; nothing if it is neither a text nor a whole number. */
std::string textOf(Json::Value const& value) {
    return value.isString() || value.isIntegral() ? cleanText(value.asString()) : std::string();
}

/** The member of that name, whatever the case of its letters; a null pointer if there is none. */
Json::Value const* findMember(Json::Value const& object, std::string_view name) {
    for (auto member = object.begin(); member != object.end(); ++member) {
        if (sameWords(member.name(), name)) {
            return &*member;
        }
    }
    return nullptr;
}

/** The same, and null the value if there is none. */
Json::Value const& memberOf(Json::Value const& object, std::string_view name) {
    Json::Value const* const member = findMember(object, name);
    return member == nullptr ? Json::Value::nullSingleton() : *member;
}

void storeIdentifier(Record& record, Json::Value const& value) {
    if (value.isObject()) {
        record.fileOwner = textOf(memberOf(value, "owner"));
        record.fileId = textOf(memberOf(value, "id"));
    } else {
        storeFileIdentifier(record, textOf(value));
    }
}

/** Stores one member of an event. @return whether it is one */
bool storeMember(Record& record, std::string const& name, Json::Value const& value) {
    if (sameWords(name, "title")) {
        return storeTagMember(record, tagmember::NAME, textOf(value));
    }
    if (sameWords(name, "ufid")) {
        storeIdentifier(record, value);
        return true;
    }
    return storeTagMember(record, name, textOf(value))
           || std::any_of(PASSED_OVER.begin(), PASSED_OVER.end(),
                          [&](std::string_view other) { return sameWords(name, other); });
}

/** The event in an object; none if the object is about something else. One without any field is. */
std::optional<Record> eventIn(Json::Value const& object) {
    Record record;
    bool isEvent = object.isNull() || object.isObject();
    for (auto member = object.begin(); member != object.end(); ++member) {
        isEvent = isEvent && sameWords(member.name(), TIME);
    }
    for (auto member = object.begin(); member != object.end(); ++member) {
        isEvent = storeMember(record, member.name(), *member) || isEvent;
    }
    return isEvent ? std::make_optional(record) : std::nullopt;
}

Station newsIn(Json::Value const& object) {
    Station news;
    Json::Value const& station = memberOf(object, STATION);
    if (station.isObject()) {
        news.name = textOf(memberOf(station, "name"));
        news.slogan = textOf(memberOf(station, SLOGAN));
    } else {
        news.name = textOf(station);
    }
    std::string const slogan = textOf(memberOf(object, SLOGAN));
    news.slogan = slogan.empty() ? news.slogan : slogan;
    return news;
}

} // namespace

bool JsonReader::readLine(std::string_view text) {
    LogLine const line(text);
    if (line.message.empty()) {
        return true;
    }
    Json::Value object;
    if (!parseJson(line.message, object) || !object.isObject()) {
        return false;
    }
    std::string const time = textOf(memberOf(object, TIME));
    readObject(object, time.empty() ? line.time : time);
    return true;
}

void JsonReader::readObject(Json::Value const& object, std::string const& time) {
    programme().takeStation(newsIn(object), time);
    Json::Value const& synchronized = memberOf(object, SYNCHRONIZED);
    if (synchronized.isBool() && !synchronized.asBool()) {
        programme().loseSynchronization(time);
    }
    Json::Value const* const song = findMember(object, SONG);
    if (std::optional<Record> const record = eventIn(song == nullptr ? object : *song)) {
        programme().takeRecord(*record, std::nullopt, time);
    }
}
