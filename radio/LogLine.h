#pragma once

#include <string>
#include <string_view>

/**
 * One line of a receiver's log, without its colours:
 *
 *     17:34:12 Title: Harbour Lights
 *     17:34:12 INFO  main.c:212: Title: Harbour Lights
 *
 * Everything before the message may be missing.
 */
struct LogLine {
    explicit LogLine(std::string_view line);

    static constexpr int NO_TIME = -1;

    std::string time;      ///< as it stands in the line, empty if there is none
    int seconds = NO_TIME; ///< since midnight
    std::string message;   ///< bytes as they came
};
