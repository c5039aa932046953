#include "radio/NowPlaying.h"

#include <gmock/gmock.h>

#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

Record song(char const* title, char const* artist = "A") {
    Record record;
    record.title = title;
    record.artist = artist;
    return record;
}

Station named(char const* name, char const* slogan) {
    Station station;
    station.name = name;
    station.slogan = slogan;
    return station;
}

/** What is playing, on a clock of the test's own. */
class NowPlayingTest : public testing::Test {
protected:
    NowPlayingTest() {
        mPlaying.onChange([this](std::string const& time) {
            changes.push_back(time + " " + (mPlaying.song() ? mPlaying.song()->title : "-"));
        });
    }

    void take(Record const& record, char const* time = "") {
        mPlaying.takeRecord(record, std::nullopt, time);
    }

    /** The titles that a press means, the playing one last. */
    std::vector<std::string> pressed() const {
        auto const marked = mPlaying.marked();
        std::vector<std::string> titles;
        if (marked && marked->before) {
            titles.push_back(marked->before->title);
        }
        if (marked) {
            titles.push_back(marked->playing.title);
        }
        return titles;
    }

    NowPlaying::Clock::time_point now;
    std::vector<std::string> changes;
    NowPlaying mPlaying{seconds(5), [this] { return now; }};
};

} // namespace

TEST_F(NowPlayingTest, AtFirstNothingPlays) {
    EXPECT_FALSE(mPlaying.song());
    EXPECT_THAT(pressed(), IsEmpty());
}

TEST_F(NowPlayingTest, OnlyAChangeCounts) {
    take(song("One"), "1");
    take(song("One"), "2");
    take(song("Two"), "3");
    take(Record(), "4");
    take(Record(), "5");
    take(song("Two"), "6");
    EXPECT_THAT(changes, ElementsAre("1 One", "3 Two", "4 -", "6 Two"));
}

TEST_F(NowPlayingTest, ABreakAtTheBeginningIsNoChange) {
    take(Record());
    mPlaying.loseSynchronization("");
    EXPECT_THAT(changes, IsEmpty());
}

TEST_F(NowPlayingTest, ASongHasTitleAndArtist) {
    for (Record const& record : {song("", "A"), song("One", ""), song("null", "A"),
                                 song("One", "Null"), song("(null)", "A")}) {
        take(song("One"));
        take(record);
        EXPECT_FALSE(mPlaying.song()) << record.title << "/" << record.artist;
    }
}

TEST_F(NowPlayingTest, TheStationIsNoSong) {
    mPlaying.takeStation(named("QBAY-FM", "The Bay's Best"), "");
    for (Record const& record : {song("the bay's BEST"), song("Call us", "The Bay's Best"),
                                 song("QBAY-FM"), song("Traffic", "qbay-fm")}) {
        take(song("One"));
        take(record);
        EXPECT_FALSE(mPlaying.song()) << record.title << "/" << record.artist;
    }
    take(song("The Bay's Best Song"));
    EXPECT_TRUE(mPlaying.song());
}

TEST_F(NowPlayingTest, ASloganThatIsHeardLaterEndsWhatLookedLikeASong) {
    take(song("The Bay's Best"), "1");
    mPlaying.takeStation(named("QBAY-FM", ""), "2");
    mPlaying.takeStation(named("", "The Bay's Best"), "3");
    EXPECT_THAT(changes, ElementsAre("1 The Bay's Best", "3 -"));
}

TEST_F(NowPlayingTest, LostSynchronizationIsABreak) {
    take(song("One"), "1");
    mPlaying.loseSynchronization("2");
    EXPECT_THAT(changes, ElementsAre("1 One", "2 -"));
    EXPECT_THAT(pressed(), IsEmpty());
}

TEST_F(NowPlayingTest, WithinTheOverlapAPressMeansBothSongs) {
    take(song("One"));
    take(song("Two"));
    now += milliseconds(4999);
    EXPECT_THAT(pressed(), ElementsAre("One", "Two"));
    now += milliseconds(1);
    EXPECT_THAT(pressed(), ElementsAre("Two"));
}

TEST_F(NowPlayingTest, RepeatsDoNotProlongTheOverlap) {
    take(song("One"));
    take(song("Two"));
    for (int second = 0; second < 5; ++second) {
        now += seconds(1);
        take(song("Two"));
    }
    EXPECT_THAT(pressed(), ElementsAre("Two"));
}

TEST_F(NowPlayingTest, AChangeOfThreeSongsMeansTheLastTwo) {
    take(song("One"));
    take(song("Two"));
    take(song("Three"));
    EXPECT_THAT(pressed(), ElementsAre("Two", "Three"));
}

TEST_F(NowPlayingTest, TheFirstSongAndOneBehindABreakAreAlone) {
    take(song("One"));
    EXPECT_THAT(pressed(), ElementsAre("One"));
    take(Record());
    take(song("Two"));
    EXPECT_THAT(pressed(), ElementsAre("Two"));
}

TEST_F(NowPlayingTest, TwoArtistsOfOneTitleAreTwoSongs) {
    take(song("One", "A"));
    take(song("One", "B"));
    EXPECT_THAT(pressed(), ElementsAre("One", "One"));
}

TEST_F(NowPlayingTest, ASongThatSaysMoreIsTheSameSong) {
    take(song("One"), "1");
    take(song("Two"), "2");
    now += seconds(4);
    Record more = song("Two");
    more.album = "L";
    take(more, "3");
    EXPECT_THAT(changes, ElementsAre("1 One", "2 Two", "3 Two"));
    EXPECT_EQ(mPlaying.song()->album, "L");
    EXPECT_THAT(pressed(), ElementsAre("One", "Two"));
    now += seconds(1);
    EXPECT_THAT(pressed(), ElementsAre("Two"));
}

TEST_F(NowPlayingTest, NoOverlapMeansNeverBoth) {
    NowPlaying playing(seconds(0), [this] { return now; });
    playing.takeRecord(song("One"), std::nullopt, "");
    playing.takeRecord(song("Two"), std::nullopt, "");
    EXPECT_FALSE(playing.marked()->before);
}

TEST_F(NowPlayingTest, TheSecondCandidateIsTheSongBefore) {
    mPlaying.takeRecord(song("Two"), song("One"), "1");
    EXPECT_THAT(changes, ElementsAre("1 Two"));
    EXPECT_THAT(pressed(), ElementsAre("One", "Two"));
    now += seconds(5);
    mPlaying.takeRecord(song("Two"), song("One"), "2");
    EXPECT_THAT(changes, ElementsAre("1 Two"));
    EXPECT_THAT(pressed(), ElementsAre("Two"));
}

TEST_F(NowPlayingTest, ASecondCandidateThatIsNoSongOrTheSameDoesNotCount) {
    mPlaying.takeRecord(song("One"), Record(), "");
    EXPECT_THAT(pressed(), ElementsAre("One"));
    mPlaying.takeRecord(Record(), song("Two"), "");
    EXPECT_THAT(pressed(), IsEmpty());
    mPlaying.takeRecord(song("Two"), song("Two"), "");
    EXPECT_THAT(pressed(), ElementsAre("Two"));
}

TEST_F(NowPlayingTest, TheRealClockRunsOutOfTheOverlap) {
    NowPlaying playing{seconds(3600)};
    playing.takeRecord(song("One"), std::nullopt, "");
    playing.takeRecord(song("Two"), std::nullopt, "");
    EXPECT_TRUE(playing.marked()->before);
}
