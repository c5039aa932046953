#include "radio/FileIdentifier.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

void expectParts(char const* text, char const* owner, char const* id) {
    Record record;
    storeFileIdentifier(record, text);
    EXPECT_EQ(record.fileOwner, owner) << text;
    EXPECT_EQ(record.fileId, id) << text;
}

} // namespace

TEST(FileIdentifier, OwnerAndIdArePartedAtTheFirstBlank) {
    expectParts(" http://a.example 123", "http://a.example", "123");
    expectParts("OWNER  AB 12 ", "OWNER", "AB 12");
}

TEST(FileIdentifier, OneWordIsAnIdUnlessItIsAnAddress) {
    expectParts(" 123", "", "123");
    expectParts("http://a.example ", "http://a.example", "");
    expectParts("", "", "");
}

TEST(FileIdentifier, AWebAddressHasASchemeOrBeginsWithWww) {
    for (char const* const text : {"http://a.example", "HTTPS://A.example/x", "www.a.example"}) {
        EXPECT_TRUE(isWebAddress(text)) << text;
    }
    for (char const* const text : {"", "http://", "www.", "a.example", "OWNER", "ftp://a.example",
                                   "me@a.example", "http://a.example b", "see http://a.example"}) {
        EXPECT_FALSE(isWebAddress(text)) << text;
    }
}

TEST(SongIdRule, DigitsThatTheServiceTakesAreASongId) {
    SongIdRule const rule;
    EXPECT_EQ(rule.songId("418273956"), 418273956);
    EXPECT_EQ(rule.songId("0"), 0);
    EXPECT_EQ(rule.songId("2147483647"), 2147483647);
    EXPECT_EQ(rule.songId("000000000000000000000042"), 42);
}

TEST(SongIdRule, EverythingElseIsNone) {
    SongIdRule const rule;
    for (char const* const id : {"", "2147483648", "99999999999999999999", "-1", "+1", "12 34",
                                 "12a", "0x12", "1.0", "١٢"}) {
        EXPECT_EQ(rule.songId(id), std::nullopt) << id;
    }
}

TEST(SongIdRule, APatternFindsTheIdByItsFirstGroup) {
    SongIdRule const rule("^song-(\\d+)-(\\d+)$");
    EXPECT_EQ(rule.songId("song-12-34"), 12);
    EXPECT_EQ(rule.songId("12"), std::nullopt);
    EXPECT_EQ(rule.songId("song-2147483648-1"), std::nullopt);
}

TEST(SongIdRule, APatternWithoutGroupMeansAllOfIt) {
    EXPECT_EQ(SongIdRule("[0-9]{3}").songId("ab123cd"), 123);
    EXPECT_EQ(SongIdRule("[a-z]+").songId("ab123cd"), std::nullopt);
}

TEST(SongIdRule, AGroupThatTakesNoPartIsNone) {
    EXPECT_EQ(SongIdRule("x(\\d)?").songId("x"), std::nullopt);
    EXPECT_EQ(SongIdRule("(a)|(\\d)").songId("7"), std::nullopt);
}

TEST(SongIdRule, NoTextMakesAPatternRunAway) {
    EXPECT_EQ(SongIdRule("(a+)+$").songId(std::string(4000, 'a') + "!"), std::nullopt);
    EXPECT_EQ(SongIdRule("(\\d+)").songId(std::string(300, 'a') + "7"), std::nullopt);
}

TEST(SongIdRule, WhatIsNoPatternIsRefused) {
    EXPECT_THROW(SongIdRule("("), std::invalid_argument);
}
