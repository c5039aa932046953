#include "radio/TagText.h"

#include "radio/TagMembers.h"
#include "radio/Text.h"

#include <algorithm>
#include <json/writer.h>

namespace {

constexpr char QUOTE = '"';

void store(Json::Value& object, char const* name, std::string const& text) {
    if (saysSomething(text)) {
        object[name] = text;
    }
}

/**
 * The service's files hold one double quote in a text and are spoilt by a second one, and with it
 * all tags that wait. So quotes that come in numbers become typographic ones.
 * Test: test_a_title_in_quotes_leaves_the_files_whole.
 */
std::string withSafeQuotes(std::string const& text) {
    if (std::count(text.begin(), text.end(), QUOTE) < 2) {
        return text;
    }
    std::string safe;
    bool opens = true;
    for (char const letter : text) {
        if (letter != QUOTE) {
            safe += letter;
            continue;
        }
        safe += opens ? "\u201C" : "\u201D";
        opens = !opens;
    }
    return safe;
}

void makeQuotesSafe(Json::Value& tag) {
    for (Json::Value& value : tag) {
        if (value.isString()) {
            value = withSafeQuotes(value.asString());
        }
    }
}

/** JSON on one line, with letters of all scripts as they are. */
std::string oneLine(Json::Value const& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

} // namespace

Json::Value songJson(Record const& song, Station const& station, Reception const& reception) {
    Json::Value tag(Json::objectValue);
    tag[tagmember::NAME] = song.title;
    tag[tagmember::ARTIST] = song.artist;
    store(tag, tagmember::ALBUM, song.album);
    store(tag, tagmember::GENRE, song.genre);
    if (std::optional<int> const id = reception.songIds.songId(song.fileId)) {
        tag[tagmember::SONG_ID] = *id;
    }
    if (isWebAddress(song.fileOwner)) {
        tag[tagmember::STATION_URL] = song.fileOwner;
    }
    store(tag, tagmember::CALL_LETTERS, station.name);
    store(tag, tagmember::FREQUENCY, reception.frequency);
    if (reception.program) {
        tag[tagmember::PROGRAM_NUMBER] = *reception.program + 1;
    }
    for (auto member = song.tag.begin(); member != song.tag.end(); ++member) {
        tag[member.name()] = *member;
    }
    return tag;
}

Json::Value tagRequest(Marked const& marked, Station const& station, Reception const& reception,
                       std::string const& timeStamp) {
    Json::Value tags(Json::arrayValue);
    if (marked.before) {
        tags.append(songJson(*marked.before, station, reception));
    }
    tags.append(songJson(marked.playing, station, reception));
    for (Json::Value& tag : tags) {
        makeQuotesSafe(tag);
        tag[tagmember::TIME_STAMP] = timeStamp;
    }
    if (marked.before) {
        tags[0U][tagmember::BUTTON_PRESSED] = false;
        tags[1U][tagmember::BUTTON_PRESSED] = true;
    }
    Json::Value request(Json::objectValue);
    request["tags"] = tags;
    return request;
}

Json::Value stationJson(Station const& station) {
    Json::Value json(Json::objectValue);
    store(json, "name", station.name);
    store(json, "slogan", station.slogan);
    store(json, "country", station.country);
    store(json, "facilityID", station.facilityId);
    for (auto const& [number, service] : station.programs) {
        Json::Value program(Json::objectValue);
        program["number"] = number;
        store(program, "name", service.name);
        store(program, "type", service.type);
        json["programs"].append(program);
    }
    return json;
}

std::string changeLine(std::string const& time, Json::Value const& song) {
    std::string members;
    for (std::string const& name : songMembers()) {
        if (song.isMember(name)) {
            members += (members.empty() ? "" : ",") + oneLine(name) + ":" + oneLine(song[name]);
        }
    }
    return "{\"time\":" + oneLine(time)
           + ",\"song\":" + (song.isNull() ? "null" : "{" + members + "}") + "}";
}
