// Lines of a log come in here; records of what is playing go to the Programme.
//
// The fields of one event are gathered in mEvent until a line shows that it is over, and are handed
// out before that too when the log rests or somebody asks: a press of the button cannot wait for
// the next song. Handing out the same event again, with more fields, is therefore usual, and the
// Programme makes one record of it. mLastWhole is the event before, by whose fields two events are
// told apart that lie one second from each other.
#include "radio/LogReader.h"

#include "radio/FileIdentifier.h"
#include "radio/Text.h"

#include <array>

namespace {

constexpr int SECONDS_A_DAY = 24 * 60 * 60;

/** The rest of a message that begins with this label; a blank behind the label may be missing. */
std::optional<std::string_view> behind(std::string_view label, std::string_view message) {
    if (message.substr(0, label.size()) != label) {
        return std::nullopt;
    }
    return message.substr(label.size());
}

/** The lines of an event, in the order in which they are printed. */
struct Field {
    std::string_view label;
    void (*store)(Record& record, std::string_view text);
    bool repeats; ///< whether one event may have several
};

constexpr std::array<Field, 6> FIELDS = {{
    {"Title:", [](Record& record, std::string_view text) { record.title = cleanText(text); },
     false},
    {"Artist:", [](Record& record, std::string_view text) { record.artist = cleanText(text); },
     false},
    {"Album:", [](Record& record, std::string_view text) { record.album = cleanText(text); },
     false},
    {"Genre:", [](Record& record, std::string_view text) { record.genre = cleanText(text); },
     false},
    {"Comment:", [](Record&, std::string_view) {}, true},
    {"Unique file identifier:", storeFileIdentifier, false},
}};

/** The part of a text behind a key such as "name=", up to one of the ends; clean. */
std::string valueOf(std::string_view key, std::string_view text, std::string_view ends = "") {
    std::size_t const at = text.find(key);
    if (at == std::string_view::npos) {
        return {};
    }
    std::string_view const value = text.substr(at + key.size());
    return cleanText(value.substr(0, value.find_first_of(ends)));
}

/** The station's news in one line about one of its programs; none if it has no such number. */
Station programNews(std::string const& number, int first, Station::Service const& service) {
    constexpr std::size_t DIGITS = 1;
    Station news;
    if (isDigits(number) && number.size() == DIGITS) {
        news.programs[number.front() - '0' + 1 - first] = service;
    }
    return news;
}

/** What a message says of the station, none if it is about something else. */
std::optional<Station> stationNews(std::string_view message) {
    Station news;
    if (auto const name = behind("Station name:", message)) {
        news.name = cleanText(*name);
    } else if (auto const slogan = behind("Slogan:", message)) {
        news.slogan = cleanText(*slogan);
    } else if (behind("Country:", message)) {
        news.country = valueOf("Country:", message, ",");
        news.facilityId = valueOf("FCC facility ID:", message, ",");
    } else if (auto const program = behind("Audio program ", message)) {
        // Counted from 0 here and from 1 in the other line.
        return programNews(std::string(program->substr(0, program->find(':'))), 0,
                           {"", valueOf("type:", message, ",")});
    } else if (behind("SIG Service: type=audio", message)) {
        return programNews(valueOf("number=", message, " "), 1, {valueOf("name=", message), ""});
    } else {
        return std::nullopt;
    }
    return news;
}

} // namespace

bool LogReader::readLine(std::string_view text) {
    LogLine const line(text);
    if (readField(line)) {
        return true;
    }
    if (mEvent) {
        mEvent->othersBehind = true;
    }
    // Everything else in a log is none of ours.
    static_cast<void>(readStation(line) || readSynchronization(line));
    return true;
}

bool LogReader::readField(LogLine const& line) {
    for (std::size_t field = 0; field < FIELDS.size(); ++field) {
        auto const value = behind(FIELDS[field].label, line.message);
        if (!value) {
            continue;
        }
        if (mEvent && !isNextOf(*mEvent, field, line)) {
            endEvent();
        }
        if (!mEvent) {
            mEvent.emplace();
            mEvent->time = line.time;
        }
        FIELDS[field].store(mEvent->record, *value);
        mEvent->lastField = field;
        mEvent->seconds = line.seconds;
        mEvent->othersBehind = false;
        mEvent->rested = false;
        return true;
    }
    return false;
}

bool LogReader::isNextOf(LogEvent const& event, std::size_t field, LogLine const& line) const {
    if (field < event.lastField || (field == event.lastField && !FIELDS[field].repeats)) {
        return false;
    }
    bool const timed = event.seconds != LogLine::NO_TIME && line.seconds != LogLine::NO_TIME;
    int const gap =
        timed ? (line.seconds - event.seconds + SECONDS_A_DAY) % SECONDS_A_DAY : event.rested;
    if (gap != 1) {
        return gap == 0;
    }
    // Either the clock went on in the middle of the event, or this is the next event, without the
    // first fields of the one before. An event that is as whole as the one before it had all.
    return !event.othersBehind && event.record != mLastWhole;
}

bool LogReader::readStation(LogLine const& line) {
    std::optional<Station> const news = stationNews(line.message);
    if (news) {
        programme().takeStation(*news, line.time);
    }
    return news.has_value();
}

bool LogReader::readSynchronization(LogLine const& line) {
    std::string const message = cleanText(line.message);
    bool const lost = message == "Lost synchronization";
    if (!lost && message != "Synchronized") {
        return false;
    }
    endEvent();
    if (lost) {
        mLastWhole.reset();
        programme().loseSynchronization(line.time);
    }
    return true;
}

void LogReader::handOut() {
    programme().takeRecord(mEvent->record, std::nullopt, mEvent->time);
}

void LogReader::settle() {
    if (mEvent) {
        mEvent->rested = true;
        handOut();
    }
}

void LogReader::settleSong() {
    if (mEvent && saysSomething(mEvent->record.title) && saysSomething(mEvent->record.artist)) {
        handOut();
    }
}

void LogReader::endEvent() {
    if (mEvent) {
        handOut();
        mLastWhole = mEvent->record;
        mEvent.reset();
    }
}
