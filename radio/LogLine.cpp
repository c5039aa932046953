#include "radio/LogLine.h"

#include "radio/Text.h"

#include <algorithm>
#include <array>

namespace {

constexpr char ESCAPE = '\x1B';
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

/** Drops the sequences by which a terminal is told to change colours. */
std::string withoutColours(std::string_view line) {
    std::string text;
    for (std::size_t at = 0; at < line.size(); ++at) {
        if (line[at] != ESCAPE || line.substr(at + 1, 1) != "[") {
            text += line[at];
            continue;
        }
        at += 2;
        while (at < line.size() && (line[at] < '@' || line[at] > '~')) {
            ++at;
        }
    }
    return text;
}

void skipBlanks(std::string_view& rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t"), rest.size()));
}

/** The next word, without taking it. */
std::string_view word(std::string_view rest) {
    return rest.substr(0, rest.find_first_of(" \t"));
}

/** "HH:MM:SS", perhaps with a fraction: the seconds since midnight. */
int secondsOf(std::string_view text) {
    constexpr std::size_t LENGTH = 8;
    auto const two = [text](std::size_t at) {
        std::string_view const digits = text.substr(at, 2);
        return isDigits(digits) ? (digits[0] - '0') * 10 + (digits[1] - '0') : 99;
    };
    bool const formed =
        text.size() >= LENGTH && text[2] == ':' && text[5] == ':'
        && (text.size() == LENGTH
            || ((text[LENGTH] == '.' || text[LENGTH] == ',') && isDigits(text.substr(LENGTH + 1))));
    if (!formed || two(0) > 23 || two(3) > 59 || two(6) > 60) {
        return LogLine::NO_TIME;
    }
    return (two(0) * 60 + two(3)) * 60 + two(6);
}

bool isLevel(std::string_view text) {
    constexpr std::array<std::string_view, 7> LEVELS = {"TRACE", "DEBUG",   "INFO", "WARN",
                                                        "ERROR", "WARNING", "FATAL"};
    return std::find(LEVELS.begin(), LEVELS.end(), text) != LEVELS.end();
}

/** "file.c:212:" */
bool isPlace(std::string_view text) {
    if (text.empty() || text.back() != ':') {
        return false;
    }
    text.remove_suffix(1);
    std::size_t const colon = text.rfind(':');
    return colon != std::string_view::npos && colon > 0 && isDigits(text.substr(colon + 1));
}

} // namespace

LogLine::LogLine(std::string_view line) {
    std::string const plain = withoutColours(line);
    std::string_view rest = plain;
    if (rest.substr(0, BYTE_ORDER_MARK.size()) == BYTE_ORDER_MARK) {
        rest.remove_prefix(BYTE_ORDER_MARK.size());
    }
    auto const take = [&rest](std::string_view taken) {
        rest.remove_prefix(taken.size());
        skipBlanks(rest);
    };
    skipBlanks(rest);
    std::string_view const first = word(rest);
    seconds = secondsOf(first);
    if (seconds != NO_TIME) {
        time = first;
        take(first);
    }
    if (isLevel(word(rest))) {
        take(word(rest));
    }
    if (isPlace(word(rest))) {
        take(word(rest));
    }
    message = rest;
}
