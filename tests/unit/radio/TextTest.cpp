#include "radio/Text.h"

#include <gtest/gtest.h>

TEST(Text, KeepsLettersOfAllScripts) {
    for (char const* const text :
         {"Harbour Lights", "Пусть всегда", "夜に駆ける", "أهلا", "😀 ok", "\xC2\xA9", "\xDF\xBF",
          "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(cleanText(text), text);
    }
}

TEST(Text, EachLongestBeginningOfACharacterIsReplacedOnce) {
    struct Case {
        char const* bytes;
        char const* text;
    };
    constexpr char const* R = "\uFFFD";
    for (Case const& each :
         {Case{"a\xE9z", "a\uFFFDz"}, Case{"\xFF\xFE", "\uFFFD\uFFFD"}, Case{"\xE2\x82", R},
          Case{"\xE2\x82z", "\uFFFDz"}, Case{"\xF0\x9F\x98", R}, Case{"\xC0\x80", "\uFFFD\uFFFD"},
          Case{"\xC1\xBF", "\uFFFD\uFFFD"}, Case{"\xE0\x9F\xBF", "\uFFFD\uFFFD\uFFFD"},
          Case{"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},
          Case{"\xF0\x8F\xBF\xBF", "\uFFFD\uFFFD\uFFFD\uFFFD"},
          Case{"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"}, Case{"\xF5z", "\uFFFDz"},
          Case{"\x80", R}, Case{"\xC3\xC3\xA9", "\uFFFDé"}}) {
        EXPECT_EQ(cleanText(each.bytes), each.text);
    }
}

TEST(Text, ControlCharactersBecomeBlanks) {
    EXPECT_EQ(cleanText("one\ttwo\rthree\x1B"
                        "four\x7F"
                        "five"),
              "one two three four five");
    EXPECT_EQ(cleanText(std::string_view("a\0b", 3)), "a b");
    EXPECT_EQ(cleanText("a\xC2\x85z\xC2\x9F!"), "a z !");
}

TEST(Text, WhatXmlCannotHoldIsReplaced) {
    EXPECT_EQ(cleanText("a\uFFFE\uFFFFz"), "a\uFFFD\uFFFDz");
}

TEST(Text, BlanksOfAnyScriptAroundATextGo) {
    EXPECT_EQ(cleanText(" \t\u00A0\u3000\u2003\uFEFF a b\u200B\u2028\r "), "a b");
    EXPECT_EQ(cleanText("a\u3000b"), "a\u3000b");
    EXPECT_EQ(cleanText(" \u2007 "), "");
    EXPECT_EQ(cleanText("\u1FFFa\u2010"), "\u1FFFa\u2010");
    EXPECT_EQ(cleanText(""), "");
}

TEST(Text, AFieldHasALimitAndIsCutBetweenCharacters) {
    EXPECT_EQ(cleanText(std::string(MAX_FIELD_BYTES, 'x')).size(), MAX_FIELD_BYTES);
    EXPECT_EQ(cleanText(std::string(MAX_FIELD_BYTES + 1, 'x')).size(), MAX_FIELD_BYTES);
    std::string wide = "x";
    while (wide.size() < MAX_FIELD_BYTES + 10) {
        wide += "夜";
    }
    std::string const cut = cleanText(wide);
    EXPECT_EQ(cut, wide.substr(0, cut.size()));
    EXPECT_EQ(cut.size() % 3, 1U);
    EXPECT_GT(cut.size(), MAX_FIELD_BYTES - 3);
    EXPECT_LE(cut.size(), MAX_FIELD_BYTES);
}

TEST(Text, WordsAreComparedWithoutCase) {
    EXPECT_TRUE(sameWords("The Best", "the BEST"));
    EXPECT_FALSE(sameWords("The Best", "The Bes"));
    EXPECT_FALSE(sameWords("The Bes", "The Best"));
    EXPECT_FALSE(sameWords("The Best", "The Rest"));
}

TEST(Text, NothingAndTheWordNullSayNothing) {
    for (char const* const text : {"", "null", "NULL", "(null)"}) {
        EXPECT_FALSE(saysSomething(text)) << text;
    }
    for (char const* const text : {"x", "nullify", "null and void", "0"}) {
        EXPECT_TRUE(saysSomething(text)) << text;
    }
}

TEST(Text, DigitsAreAsciiDigits) {
    EXPECT_TRUE(isDigits("0123456789"));
    for (char const* const text : {"", "12a", "-1", "1.0", " 1", "١"}) {
        EXPECT_FALSE(isDigits(text)) << text;
    }
}
