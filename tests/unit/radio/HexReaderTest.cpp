#include "radio/HexReader.h"
#include "Heard.h"

#include <algorithm>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char SINGLE[] =
    "00 0E 05 00 00 01 09 06 07 00 01 00 0E 00 04 01 4D 69 64 6E 69 67 68 74 20 46 65 72 72 79 49 "
    "6C 73 65 6E 31 34 31 38 32 37 33 39 35 36 31 34 33 34 31 31 51 42 41 59 2D 46 4D 30 41 46 46 "
    "2D 30 30 30 30 34 38 32 2D 51 4C 39 39 2E 31 31";
constexpr char SINGLE_EVENT[] =
    "event title=Midnight Ferry artist=Ilsen PodcastFeedURL=0# ProgramNumber=1# "
    "StationCallLetters=QBAY-FM StationFrequency=99.1 iTunesAffiliateID=AFF-0000482-QL "
    "iTunesSongID=418273956# iTunesStorefrontID=143411#";

/** Candidates "One" by "A" and "Two" by "B" with these buttons. */
std::string ambiguous(std::string const& first, std::string const& second) {
    std::string const lengths = "03 01 00 00 00 00 00 00 00 00 00 00 00 00 01 ";
    return "01 " + lengths + lengths + "4F 6E 65 41 " + first + " 54 77 6F 42 " + second;
}

std::vector<std::string> heard(std::string const& lines) {
    return heardIn<HexReader>(lines);
}

std::string without(std::string text, char letter) {
    text.erase(std::remove(text.begin(), text.end(), letter), text.end());
    return text;
}

} // namespace

TEST(HexReader, ASingleTagIsAnEvent) {
    EXPECT_THAT(heard(SINGLE), ElementsAre(SINGLE_EVENT));
    EXPECT_THAT(heardIn<HexReader>(std::string(SINGLE) + "\r\n", 5), ElementsAre(SINGLE_EVENT));
}

TEST(HexReader, BlanksBetweenPairsDoNotMatter) {
    EXPECT_THAT(heard(without(SINGLE, ' ')), ElementsAre(SINGLE_EVENT));
    std::string tabs = SINGLE;
    std::replace(tabs.begin(), tabs.end(), ' ', '\t');
    EXPECT_THAT(heard("  " + tabs + "\t"), ElementsAre(SINGLE_EVENT));
}

TEST(HexReader, TheCandidateWithTheButtonPlays) {
    std::string const one = "event title=One artist=A";
    std::string const two = "event title=Two artist=B";
    EXPECT_THAT(heard(ambiguous("31", "30")), ElementsAre(one + " |" + two));
    EXPECT_THAT(heard(ambiguous("30", "31")), ElementsAre(two + " |" + one));
    EXPECT_THAT(heard(ambiguous("31", "31")), ElementsAre(two + " |" + one));
    EXPECT_THAT(heard(ambiguous("30", "30")), ElementsAre(two + " |" + one));
}

TEST(HexReader, TheTimeIsTheStreamsOrTheLines) {
    std::string const stamped =
        "00 01 01 00 00 00 00 00 00 05 00 00 00 00 00 00 58 59 31 37 68 33 34";
    EXPECT_THAT(heard(stamped), ElementsAre("17h34 event title=X artist=Y"));
    EXPECT_THAT(heard("17:00:01 " + stamped), ElementsAre("17:00:01 event title=X artist=Y"));
    EXPECT_THAT(heard("17:00:01 " + ambiguous("30", "31")),
                ElementsAre("17:00:01 event title=Two artist=B |event title=One artist=A"));
}

TEST(HexReader, TextsAreLatin1) {
    EXPECT_THAT(heard("00 01 01 00 00 00 00 00 00 00 00 00 00 00 00 00 E9 FF"),
                ElementsAre("event title=é artist=ÿ"));
}

TEST(HexReader, MalformedStreamsAndOtherLinesAreDamaged) {
    Heard heard;
    HexReader reader(heard);
    std::string const cut = std::string(SINGLE).substr(0, 100);
    for (std::string const& line :
         {cut, cut.substr(0, 99), std::string("Title: x"), std::string("00 11"),
          ambiguous("30", "3"), std::string(SINGLE) + " zz"}) {
        EXPECT_FALSE(reader.readLine(line)) << line;
    }
    EXPECT_TRUE(reader.readLine(""));
    EXPECT_TRUE(reader.readLine("17:00:01 "));
    EXPECT_THAT(heard.lines, IsEmpty());
}

TEST(HexReader, AStreamIsPairsOfDigitsAndLongEnough) {
    std::string const shortest(30, '0');
    EXPECT_TRUE(HexReader::isStream(shortest));
    EXPECT_FALSE(HexReader::isStream(shortest.substr(2)));
    EXPECT_FALSE(HexReader::isStream(shortest + "0"));
    EXPECT_FALSE(HexReader::isStream(shortest + "0g"));
    EXPECT_FALSE(HexReader::isStream(shortest + "\xFF\xFF"));
    EXPECT_FALSE(HexReader::isStream(""));
}
