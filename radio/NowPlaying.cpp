#include "radio/NowPlaying.h"

#include "radio/Text.h"

namespace {

/** Whether two records are of one song, of which one may say more than the other. */
bool isSameSong(Record const& one, Record const& other) {
    return one.title == other.title && one.artist == other.artist;
}

} // namespace

std::optional<Marked> NowPlaying::marked() const {
    if (!mSong) {
        return std::nullopt;
    }
    bool const overlaps = mNow() - mChanged < mOverlap;
    return Marked{*mSong, overlaps ? mBefore : std::nullopt};
}

void NowPlaying::takeRecord(Record const& record, std::optional<Record> const& other,
                            std::string const& time) {
    bool const isNew = !mSong || !isSameSong(*mSong, record);
    if (isNew && other && isSong(*other) && isSong(record) && !isSameSong(*other, record)) {
        mSong = other;
    }
    play(isSong(record) ? std::make_optional(record) : std::nullopt, time);
}

void NowPlaying::takeStation(Station const& news, std::string const& time) {
    mStation.update(news);
    if (mSong && !isSong(*mSong)) {
        play(std::nullopt, time);
    }
}

void NowPlaying::loseSynchronization(std::string const& time) {
    play(std::nullopt, time);
}

bool NowPlaying::isSong(Record const& record) const {
    return saysSomething(record.title) && saysSomething(record.artist)
           && !isOfTheStation(record.title) && !isOfTheStation(record.artist);
}

bool NowPlaying::isOfTheStation(std::string const& text) const {
    return sameWords(text, mStation.slogan) || sameWords(text, mStation.name);
}

void NowPlaying::play(std::optional<Record> song, std::string const& time) {
    if (song == mSong) {
        return;
    }
    bool const goesOn = song && mSong && isSameSong(*song, *mSong);
    if (!goesOn) {
        mBefore = song ? mSong : std::nullopt;
        mChanged = mNow();
    }
    mSong = std::move(song);
    mReport(time);
}
