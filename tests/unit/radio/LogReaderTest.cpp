#include "radio/LogReader.h"
#include "Heard.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> heard(std::string const& log) {
    return heardIn<LogReader>(log);
}

/** A reader of what is fed to it line by line. */
struct Live {
    Heard heard;
    LogReader reader{heard};

    std::vector<std::string> after(std::string const& lines) {
        reader.feed(lines);
        return heard.lines;
    }
};

} // namespace

TEST(LogReader, TheLinesOfAnEventAreOneEvent) {
    std::string const log = "17:00:01 Title: One\n17:00:01 Artist: A\n17:00:01 Album: L\n"
                            "17:00:01 Genre: G\n17:00:01 Comment: lang=eng short text\n"
                            "17:00:01 Comment: lang=xx\n"
                            "17:00:01 Unique file identifier: http://o.example 77\n";
    for (std::size_t piece = 1; piece < log.size(); ++piece) {
        EXPECT_THAT(heardIn<LogReader>(log, piece),
                    ElementsAre("17:00:01 event title=One artist=A album=L genre=G "
                                "owner=http://o.example id=77"));
    }
}

TEST(LogReader, EachEventReplacesTheOneBefore) {
    EXPECT_THAT(heard("17:00:01 Title: One\n17:00:01 Artist: A\n17:00:01 Album: L\n"
                      "17:00:02 Artist: Shop\n17:00:03 Title: Two\n17:00:03 Artist: B\n"),
                ElementsAre("17:00:01 event title=One artist=A album=L",
                            "17:00:02 event artist=Shop", "17:00:03 event title=Two artist=B"));
}

TEST(LogReader, AFieldThatWasThereBeginsAnEvent) {
    EXPECT_THAT(heard("Title: One\nTitle: Two\n"),
                ElementsAre("event title=One", "event title=Two"));
    EXPECT_THAT(heard("Genre: G\nComment: c\nUnique file identifier: 1\n"
                      "Unique file identifier: 2\n"),
                ElementsAre("event genre=G id=1", "event id=2"));
}

TEST(LogReader, AFieldOutOfOrderBeginsAnEvent) {
    EXPECT_THAT(heard("Artist: A\nTitle: One\nAlbum: L\nArtist: B\n"),
                ElementsAre("event artist=A", "event title=One album=L", "event artist=B"));
}

TEST(LogReader, OtherLinesMayStandInsideAnEvent) {
    EXPECT_THAT(heard("17:00:01 Title: One\n17:00:01 BER: 0.1\n17:00:01 Slogan: Best\n"
                      "17:00:01 XHDR: 0 BE4B7536 -1\n17:00:01 Artist: A\n"),
                ElementsAre("17:00:01 station slogan=Best", "17:00:01 event title=One artist=A"));
}

TEST(LogReader, AnEventMayCrossASecond) {
    EXPECT_THAT(heard("23:59:59 Title: One\n00:00:00 Artist: A\n"),
                ElementsAre("23:59:59 event title=One artist=A"));
}

TEST(LogReader, WithOtherLinesBetweenItDoesNot) {
    EXPECT_THAT(heard("17:00:01 Title: Weather\n17:00:01 BER: 0.1\n17:00:02 Artist: Shop\n"),
                ElementsAre("17:00:01 event title=Weather", "17:00:02 event artist=Shop"));
    EXPECT_THAT(heard("17:00:01 BER: 0.1\n17:00:01 Title: One\n17:00:02 Artist: A\n"),
                ElementsAre("17:00:01 event title=One artist=A"));
}

TEST(LogReader, ARepeatedEventIsWholeWhenTheNextSecondBegins) {
    EXPECT_THAT(heard("17:00:01 Title: Weather\n17:00:02 Title: Weather\n17:00:03 Artist: Shop\n"),
                ElementsAre("17:00:01 event title=Weather", "17:00:02 event title=Weather",
                            "17:00:03 event artist=Shop"));
    EXPECT_THAT(
        heard("17:00:01 Title: One\n17:00:01 Artist: A\n17:00:02 Title: One\n"
              "17:00:03 Artist: A\n"),
        ElementsAre("17:00:01 event title=One artist=A", "17:00:02 event title=One artist=A"));
}

TEST(LogReader, ALaterLineIsNeverPartOfTheEvent) {
    EXPECT_THAT(heard("17:00:01 Title: Weather\n17:00:03 Artist: Shop\n"),
                ElementsAre("17:00:01 event title=Weather", "17:00:03 event artist=Shop"));
    // Nor one from before, which is how a clock looks that was set back.
    EXPECT_THAT(heard("17:00:03 Title: Weather\n17:00:01 Artist: Shop\n"),
                ElementsAre("17:00:03 event title=Weather", "17:00:01 event artist=Shop"));
}

TEST(LogReader, ALineWithoutTimeIsOfTheSameMoment) {
    EXPECT_THAT(heard("17:00:01 Title: One\nArtist: A\n17:00:09 Album: L\n"),
                ElementsAre("17:00:01 event title=One artist=A album=L"));
}

TEST(LogReader, FieldsMayBeEmpty) {
    EXPECT_THAT(heard("17:00:01 Title: \r\n17:00:01 Artist:\r\n17:00:01 Album:   \r\n"),
                ElementsAre("17:00:01 event"));
}

TEST(LogReader, ALineThatIsCutIsTakenAsItCame) {
    EXPECT_THAT(heard("itle: Zero\nTitle: One\nArtist: The Ti"),
                ElementsAre("event title=One artist=The Ti"));
}

TEST(LogReader, BytesOfAnyKindAreReplaced) {
    EXPECT_THAT(heard("Title: Caf\xE9\nArtist: \xFF\n"),
                ElementsAre("event title=Caf\uFFFD artist=\uFFFD"));
}

TEST(LogReader, TheStationIsHeard) {
    EXPECT_THAT(heard("17:00:01 Station name: QBAY-FM\n17:00:01 Slogan: The Bay's Best\n"
                      "17:00:01 Country: US, FCC facility ID: 12345\n"
                      "17:00:01 Audio program 0: public, type: Rock, sound experience 0\n"
                      "17:00:01 SIG Service: type=audio number=1 name=QBAY HD1\n"
                      "17:00:01 SIG Service: type=data number=2 name=Traffic\n"),
                ElementsAre("17:00:01 station name=QBAY-FM",
                            "17:00:01 station slogan=The Bay's Best",
                            "17:00:01 station country=US facility=12345",
                            "17:00:01 station 1=/Rock", "17:00:01 station 1=QBAY HD1/"));
}

TEST(LogReader, NumbersOfProgramsThatMakeNoSenseArePassedOver) {
    EXPECT_THAT(heard("Audio program x: public\nAudio program 12: public\nAudio program : y\n"
                      "SIG Service: type=audio number= name=y\nSIG Service: type=audio\n"),
                IsEmpty());
    EXPECT_THAT(heard("Country: CA\n"), ElementsAre("station country=CA"));
}

TEST(LogReader, LostSynchronizationEndsTheEvent) {
    EXPECT_THAT(
        heard("17:00:01 Title: One\n17:00:01 Lost synchronization\n17:00:01 Artist: A\n"),
        ElementsAre("17:00:01 event title=One", "17:00:01 lost", "17:00:01 event artist=A"));
}

TEST(LogReader, SynchronizationEndsTheEventToo) {
    EXPECT_THAT(heard("17:00:01 Title: One\n17:00:01 Synchronized\n17:00:01 Artist: A\n"),
                ElementsAre("17:00:01 event title=One", "17:00:01 event artist=A"));
}

TEST(LogReader, WhatWasRepeatedBeforeALossSaysNothingOfWhatComesBehindIt) {
    EXPECT_THAT(heard("17:00:01 Title: One\n17:00:02 Lost synchronization\n17:00:03 Title: One\n"
                      "17:00:04 Artist: A\n"),
                ElementsAre("17:00:01 event title=One", "17:00:02 lost",
                            "17:00:03 event title=One artist=A"));
}

TEST(LogReader, UnknownLinesAreNothing) {
    EXPECT_THAT(heard("Found tuner\nAudio bit rate: 48.0 kbps\nMessage: Title: x\nLOT file: x\n"
                      "title: x\nTitles: x\nSynchronized twice\n\n{\"title\":1}\n"),
                IsEmpty());
}

TEST(LogReader, AnEventWaitsForItsEndOrForSilence) {
    Live live;
    EXPECT_FALSE(live.reader.isWaiting());
    EXPECT_THAT(live.after("Title: One\nArtist: A\n"), IsEmpty());
    EXPECT_TRUE(live.reader.isWaiting());
    live.reader.settle();
    EXPECT_THAT(live.heard.lines, ElementsAre("event title=One artist=A"));
}

TEST(LogReader, ALineBehindASilenceStillBelongsToTheEvent) {
    Live live;
    live.after("Title: One\n");
    live.reader.settle();
    live.after("Artist: A\n");
    live.reader.finish();
    EXPECT_THAT(live.heard.lines, ElementsAre("event title=One", "event title=One artist=A"));
}

TEST(LogReader, BehindASilenceARepeatedEventIsWhole) {
    Live live;
    live.after("Title: Weather\nTitle: Weather\n");
    live.reader.settle();
    live.after("Artist: Shop\n");
    live.reader.finish();
    EXPECT_EQ(live.heard.lines.back(), "event artist=Shop");
}

TEST(LogReader, WithoutASilenceARepeatedEventMayGrow) {
    EXPECT_THAT(heard("Title: One\nArtist: A\nTitle: One\nArtist: A\nAlbum: L\n"),
                ElementsAre("event title=One artist=A", "event title=One artist=A album=L"));
}

TEST(LogReader, WhoAsksIsToldASongBeforeItsEnd) {
    Live live;
    live.after("Title: One\n");
    live.reader.settleSong();
    EXPECT_THAT(live.heard.lines, IsEmpty());
    live.after("Artist: A\n");
    live.reader.settleSong();
    EXPECT_THAT(live.heard.lines, ElementsAre("event title=One artist=A"));
    live.after("Album: L\nTitle: Two\n");
    EXPECT_EQ(live.heard.lines.back(), "event title=One artist=A album=L");
}

TEST(LogReader, WhoAsksInABreakIsToldNothingNew) {
    Live live;
    live.after("Artist: Shop\n");
    live.reader.settleSong();
    EXPECT_THAT(live.heard.lines, IsEmpty());
    live.after("Title: null\nArtist: Shop\n");
    live.reader.settleSong();
    EXPECT_THAT(live.heard.lines, ElementsAre("event artist=Shop"));
}

TEST(LogReader, AnEndedEventIsToldOnce) {
    Live live;
    live.after("Title: One\n");
    live.reader.endEvent();
    live.reader.endEvent();
    live.reader.settle();
    live.reader.settleSong();
    EXPECT_THAT(live.heard.lines, ElementsAre("event title=One"));
}

TEST(LogReader, AWriterThatDiesInALineDoesNotSpoilTheNextOnes) {
    Live live;
    live.after("Title: One\nArt");
    live.reader.endLine();
    live.after("Title: Two\n");
    live.reader.finish();
    EXPECT_THAT(live.heard.lines, ElementsAre("event title=One", "event title=Two"));
}

TEST(LogReader, NoLineCountsAsDamaged) {
    Live live;
    live.after("{ no json\n00 zz\n\xFF\n");
    EXPECT_EQ(live.reader.damagedLines(), 0U);
}
