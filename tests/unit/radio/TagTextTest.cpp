#include "radio/TagText.h"

#include <gtest/gtest.h>
#include <json/writer.h>

namespace {

std::string text(Json::Value const& value) {
    Json::FastWriter writer;
    writer.omitEndingLineFeed();
    return writer.write(value);
}

Record fullRecord() {
    Record record;
    record.title = "One";
    record.artist = "A";
    record.album = "L";
    record.genre = "G";
    record.fileOwner = "http://o.example";
    record.fileId = "77";
    return record;
}

Record song(char const* title) {
    Record record;
    record.title = title;
    record.artist = "A";
    return record;
}

Station station() {
    Station station;
    station.name = "QBAY-FM";
    return station;
}

} // namespace

TEST(TagText, ASongBecomesATag) {
    EXPECT_EQ(text(songJson(fullRecord(), station(), {"95.5", 0, SongIdRule()})),
              R"({"Album":"L","Artist":"A","Genre":"G","Name":"One","ProgramNumber":1,)"
              R"("StationCallLetters":"QBAY-FM","StationFrequency":"95.5",)"
              R"("StationURL":"http://o.example","iTunesSongID":77})");
}

TEST(TagText, WhatIsNotKnownIsLeftOut) {
    Record record = song("One");
    record.album = "null";
    record.fileOwner = "OWNER";
    record.fileId = "AB";
    EXPECT_EQ(text(songJson(record, Station(), {"", std::nullopt, SongIdRule()})),
              R"({"Artist":"A","Name":"One"})");
}

TEST(TagText, WhatTheInputNamesItselfComesFirst) {
    Record record = fullRecord();
    record.tag["StationCallLetters"] = "QRDO-FM";
    record.tag["ProgramNumber"] = 3;
    record.tag["iTunesSongID"] = 5;
    Json::Value const tag = songJson(record, station(), {"95.5", 0, SongIdRule()});
    EXPECT_EQ(tag["StationCallLetters"], "QRDO-FM");
    EXPECT_EQ(tag["ProgramNumber"], 3);
    EXPECT_EQ(tag["iTunesSongID"], 5);
    EXPECT_EQ(tag["StationFrequency"], "95.5");
}

TEST(TagText, APatternFindsTheSongId) {
    Record record = song("One");
    record.fileId = "song-12";
    EXPECT_EQ(songJson(record, Station(), {"", std::nullopt, SongIdRule("(\\d+)")})["iTunesSongID"],
              12);
}

TEST(TagText, OneSongIsASingleTag) {
    EXPECT_EQ(text(tagRequest({song("One"), std::nullopt}, Station(),
                              {"", std::nullopt, SongIdRule()}, "2010-03-01T17:05:09Z")),
              R"({"tags":[{"Artist":"A","Name":"One","TimeStamp":"2010-03-01T17:05:09Z"}]})");
}

TEST(TagText, TwoSongsAreCandidatesWithThePlayingOneMarked) {
    EXPECT_EQ(text(tagRequest({song("Two"), song("One")}, Station(),
                              {"", std::nullopt, SongIdRule()}, "T")),
              R"({"tags":[{"Artist":"A","ButtonPressed":false,"Name":"One","TimeStamp":"T"},)"
              R"({"Artist":"A","ButtonPressed":true,"Name":"Two","TimeStamp":"T"}]})");
}

TEST(TagText, QuotesThatWouldSpoilTheFilesBecomeTypographic) {
    Record record = song("\"One\" and \"Two");
    record.album = "12\" mix";
    Reception const reception{"", std::nullopt, SongIdRule()};
    Json::Value const sent = tagRequest({record, std::nullopt}, Station(), reception, "T");
    EXPECT_EQ(sent["tags"][0U]["Name"], "“One” and “Two");
    EXPECT_EQ(sent["tags"][0U]["Album"], "12\" mix");
    EXPECT_EQ(songJson(record, Station(), reception)["Name"], "\"One\" and \"Two");
}

TEST(TagText, TheStationIsWhatIsKnownOfIt) {
    EXPECT_EQ(text(stationJson(Station())), "{}");
    Station known = station();
    known.slogan = "Best";
    known.country = "US";
    known.facilityId = "1";
    known.programs[1] = {"HD1", "Rock"};
    known.programs[2] = {"", "Jazz"};
    EXPECT_EQ(text(stationJson(known)),
              R"({"country":"US","facilityID":"1","name":"QBAY-FM","programs":)"
              R"([{"name":"HD1","number":1,"type":"Rock"},{"number":2,"type":"Jazz"}],)"
              R"("slogan":"Best"})");
}

TEST(TagText, AChangeIsOneLineWithTheNameFirst) {
    EXPECT_EQ(changeLine("17:34:12", songJson(fullRecord(), station(), {"95.5", 0, SongIdRule()})),
              R"({"time":"17:34:12","song":{"Name":"One","Artist":"A","Album":"L","Genre":"G",)"
              R"("iTunesSongID":77,"StationURL":"http://o.example",)"
              R"("StationCallLetters":"QBAY-FM","StationFrequency":"95.5","ProgramNumber":1}})");
    EXPECT_EQ(changeLine("17:34:12", Json::Value()), R"({"time":"17:34:12","song":null})");
}

TEST(TagText, ALineShowsLettersAsTheyAre) {
    EXPECT_EQ(
        changeLine("t", songJson(song("夜 \"😀\" \\"), Station(), {"", std::nullopt, SongIdRule()})),
        R"({"time":"t","song":{"Name":"夜 \"😀\" \\","Artist":"A"}})");
}
