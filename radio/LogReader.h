#pragma once

#include "radio/InputReader.h"
#include "radio/LogLine.h"

#include <optional>
#include <string>

/** What of an event has come so far. */
struct LogEvent {
    Record record;
    std::string time;
    std::size_t lastField = 0;
    int seconds = LogLine::NO_TIME; ///< of its last line
    bool othersBehind = false;      ///< lines about other things came behind its last one
    bool rested = false;            ///< nothing came for a while behind its last one
};

/**
 * Reads the line log of nrsc5.
 *
 * An event of the station is several lines, one for each field that it has, in one order and
 * printed together, and nothing says where it ends. So it lasts until a line comes that cannot be
 * its next one: a field that stands earlier in the order or was there already, or one from another
 * second. Lines about other things may stand in between.
 */
class LogReader final : public InputReader {
public:
    using InputReader::InputReader;

    bool readLine(std::string_view line) override;
    bool isWaiting() const override { return mEvent.has_value(); }
    void settle() override;
    void settleSong() override;
    void endEvent() override;

private:
    bool readField(LogLine const& line);
    bool readStation(LogLine const& line);
    bool readSynchronization(LogLine const& line);
    bool isNextOf(LogEvent const& event, std::size_t field, LogLine const& line) const;
    void handOut();

    std::optional<LogEvent> mEvent;
    std::optional<Record> mLastWhole;
};
