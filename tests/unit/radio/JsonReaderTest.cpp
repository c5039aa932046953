#include "radio/JsonReader.h"
#include "Heard.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> heard(std::string const& lines) {
    return heardIn<JsonReader>(lines);
}

unsigned long damagedIn(std::string const& lines) {
    Heard nobody;
    JsonReader reader(nobody);
    reader.feed(lines);
    reader.finish();
    return reader.damagedLines();
}

} // namespace

TEST(JsonReader, ALineIsAnEvent) {
    std::string const line =
        R"({"time":"17:34:12","title":"One","artist":"A","album":"L","genre":"G",)"
        R"("comments":[{"lang":"eng","text":"x"}],"xhdr":{"lot":1},)"
        R"("ufid":{"owner":"http://o.example","id":"77"}})"
        "\n";
    for (std::size_t piece = 1; piece < line.size(); piece += 7) {
        EXPECT_THAT(heardIn<JsonReader>(line, piece),
                    ElementsAre("17:34:12 event title=One artist=A album=L genre=G "
                                "owner=http://o.example id=77"));
    }
}

TEST(JsonReader, NamesMayBeInAnyCase) {
    EXPECT_THAT(heard(R"({"Title":"One","ARTIST":"A","Time":"x","UFID":{"Owner":"o","ID":7}})"),
                ElementsAre("x event title=One artist=A owner=o id=7"));
}

TEST(JsonReader, TheIdentifierMayBeOneText) {
    EXPECT_THAT(heard(R"({"ufid":"OWNER 12"})"), ElementsAre("event owner=OWNER id=12"));
}

TEST(JsonReader, AnEventReplacesTheOneBefore) {
    EXPECT_THAT(heard("{\"title\":\"One\",\"artist\":\"A\"}\n{\"artist\":\"Shop\"}\n"),
                ElementsAre("event title=One artist=A", "event artist=Shop"));
}

TEST(JsonReader, AnEventWithoutFieldsIsABreak) {
    EXPECT_THAT(heard("{}\n{\"time\":\"17:00:00\"}\n{\"title\":null}\n"),
                ElementsAre("event", "17:00:00 event", "event"));
}

TEST(JsonReader, MembersOfATagAreTaken) {
    EXPECT_THAT(heard(R"({"Name":"One","Artist":"A","iTunesSongID":5,"ProgramNumber":"2",)"
                      R"("StationURL":"u","PodcastFeedURL":"no number"})"),
                ElementsAre("event title=One artist=A ProgramNumber=2# StationURL=u "
                            "iTunesSongID=5#"));
}

TEST(JsonReader, WhatIsPrintedCanBeReadAgain) {
    EXPECT_THAT(heard(R"({"time":"17:00:01","song":{"Name":"One","Artist":"A"}})"
                      "\n"
                      R"({"time":"17:00:02","song":null})"),
                ElementsAre("17:00:01 event title=One artist=A", "17:00:02 event"));
}

TEST(JsonReader, TheStationIsHeard) {
    EXPECT_THAT(heard(R"({"station":"QBAY-FM"})"
                      "\n"
                      R"({"station":{"name":"QRDO","slogan":"Best"}})"
                      "\n"
                      R"({"slogan":"Rest","title":"One","artist":"A"})"),
                ElementsAre("station name=QBAY-FM", "station name=QRDO slogan=Best",
                            "station slogan=Rest", "event title=One artist=A"));
}

TEST(JsonReader, LostSynchronizationIsHeard) {
    EXPECT_THAT(heard(R"({"synchronized":false,"time":"17:00:00"})"
                      "\n"
                      R"({"synchronized":true})"
                      "\n"
                      R"({"synchronized":"false"})"),
                ElementsAre("17:00:00 lost"));
}

TEST(JsonReader, ObjectsAboutOtherThingsAreNothing) {
    EXPECT_THAT(heard("{\"ber\":0.1}\n{\"song\":5}\n{\"song\":[\"title\"]}\n\n   \n"), IsEmpty());
    EXPECT_EQ(damagedIn("{\"ber\":0.1}\n{\"song\":5}\n\n   \n"), 0U);
}

TEST(JsonReader, ValuesOfOtherKindsSayNothing) {
    EXPECT_THAT(heard(R"({"title":1999,"artist":["A"],"album":{"x":1},"genre":true,)"
                      R"("ufid":{"owner":1.5,"id":[1]}})"),
                ElementsAre("event title=1999"));
}

TEST(JsonReader, TextsAreCleaned) {
    EXPECT_THAT(heard("{\"title\":\" a\\u0000b\\n\",\"artist\":\"\xFF\",\"time\":\" \\u0001 \"}"),
                ElementsAre("event title=a b artist=\uFFFD"));
}

TEST(JsonReader, ATimeInFrontOfTheObjectCounts) {
    EXPECT_THAT(
        heard("17:00:01 {\"title\":\"One\"}\n17:00:02 {\"time\":\"t\",\"title\":\"Two\"}\n"),
        ElementsAre("17:00:01 event title=One", "t event title=Two"));
}

TEST(JsonReader, WhatIsNoObjectIsDamaged) {
    std::string const deep(5000, '[');
    EXPECT_EQ(damagedIn("{\n[1]\n\"text\"\nTitle: x\n{\"title\":\"\\ud800\"}\n" + deep + "\n"), 6U);
    EXPECT_THAT(heard("{\"title\":\n{\"title\":\"One\"}\n"), ElementsAre("event title=One"));
}

TEST(JsonReader, ALineThatIsTooLongIsDamaged) {
    EXPECT_EQ(damagedIn("{\"title\":\"" + std::string(3000000, 'x') + "\"}\n"), 1U);
}
