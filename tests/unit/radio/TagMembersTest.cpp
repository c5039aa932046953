#include "radio/TagMembers.h"

#include <gmock/gmock.h>

namespace {

Json::Value stored(char const* name, std::string const& text) {
    Record record;
    EXPECT_TRUE(storeTagMember(record, name, text)) << name;
    return record.tag.get(name, Json::nullValue);
}

} // namespace

TEST(TagMembers, NameArtistAlbumAndGenreAreOfTheRecord) {
    Record record;
    EXPECT_TRUE(storeTagMember(record, "Name", "n"));
    EXPECT_TRUE(storeTagMember(record, "artist", "a"));
    EXPECT_TRUE(storeTagMember(record, "ALBUM", "l"));
    EXPECT_TRUE(storeTagMember(record, "Genre", "g"));
    EXPECT_EQ(record.title + record.artist + record.album + record.genre, "nalg");
    EXPECT_TRUE(record.tag.empty());
}

TEST(TagMembers, TextsStayTexts) {
    for (char const* const name : {"StationURL", "StationCallLetters", "StationFrequency",
                                   "iTunesAffiliateID", "iTunesStationID", "UnknownData"}) {
        EXPECT_EQ(stored(name, "12"), "12") << name;
        EXPECT_TRUE(stored(name, "").isNull());
        EXPECT_TRUE(stored(name, "null").isNull());
    }
}

TEST(TagMembers, NumbersAreWhatTheServiceTakes) {
    EXPECT_EQ(stored("ProgramNumber", "-2147483648"), Json::Value(Json::Value::minInt));
    EXPECT_EQ(stored("PodcastFeedURL", "2147483647"), 2147483647);
    EXPECT_EQ(stored("iTunesSongID", "0"), 0);
    EXPECT_EQ(stored("iTunesStorefrontID", "143441"), 143441);
    EXPECT_EQ(stored("iTunesStorefrontID", "4294967295"), -1);
    EXPECT_EQ(stored("iTunesStorefrontID", "-7"), -7);
}

TEST(TagMembers, NumbersThatWouldEndTheServiceAreLeftOut) {
    struct Case {
        char const* name;
        char const* text;
    };
    for (Case const& each :
         {Case{"ProgramNumber", "2147483648"}, Case{"ProgramNumber", "1x"},
          Case{"PodcastFeedURL", "http://x"}, Case{"PodcastFeedURL", ""},
          Case{"iTunesSongID", "-1"}, Case{"iTunesSongID", "2147483648"},
          Case{"iTunesStorefrontID", "4294967296"}, Case{"iTunesStorefrontID", "US"}}) {
        EXPECT_TRUE(stored(each.name, each.text).isNull()) << each.name << " " << each.text;
    }
}

TEST(TagMembers, ThePressIsNoMemberOfASong) {
    Record record;
    for (char const* const name : {"TimeStamp", "ButtonPressed", "title", ""}) {
        EXPECT_FALSE(storeTagMember(record, name, "1")) << name;
    }
    EXPECT_TRUE(record == Record());
}

TEST(TagMembers, PeopleAreShownTheNameFirst) {
    EXPECT_THAT(songMembers(),
                testing::ElementsAre("Name", "Artist", "Album", "Genre", "iTunesSongID",
                                     "StationURL", "StationCallLetters", "StationFrequency",
                                     "ProgramNumber", "iTunesStorefrontID", "iTunesAffiliateID",
                                     "iTunesStationID", "PodcastFeedURL", "UnknownData"));
}
