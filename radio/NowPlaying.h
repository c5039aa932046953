#pragma once

#include "radio/Programme.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>

/** The songs that a press of the button means. */
struct Marked {
    Record playing;
    std::optional<Record> before; ///< what played until a few seconds ago
};

/**
 * What is playing.
 *
 * Each event replaces the record of the one before it. A record is a song if title and artist both
 * say something and neither is the station's name or slogan, as which breaks often come.
 */
class NowPlaying final : public Programme {
public:
    using Clock = std::chrono::steady_clock;

    /** @param overlap how long after a change of songs a press may mean either; 0 for never */
    explicit NowPlaying(Clock::duration overlap,
                        std::function<Clock::time_point()> now = Clock::now)
        : mOverlap(overlap), mNow(std::move(now)) {}

    /** Called after each change, with the input's own time of it. */
    void onChange(std::function<void(std::string const& time)> report) {
        mReport = std::move(report);
    }

    /** None in a break. */
    std::optional<Record> const& song() const { return mSong; }
    Station const& station() const { return mStation; }
    /** None in a break. */
    std::optional<Marked> marked() const;

    void takeRecord(Record const& record, std::optional<Record> const& other,
                    std::string const& time) override;
    void takeStation(Station const& news, std::string const& time) override;
    void loseSynchronization(std::string const& time) override;

private:
    bool isSong(Record const& record) const;
    bool isOfTheStation(std::string const& text) const;
    void play(std::optional<Record> song, std::string const& time);

    Clock::duration mOverlap;
    std::function<Clock::time_point()> mNow;
    std::function<void(std::string const&)> mReport = [](std::string const&) {};
    Station mStation;
    std::optional<Record> mSong;
    std::optional<Record> mBefore;
    Clock::time_point mChanged;
};
