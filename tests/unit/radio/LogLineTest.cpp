#include "radio/LogLine.h"

#include <gtest/gtest.h>

namespace {

void expectLine(std::string const& text, std::string const& time, int seconds,
                std::string const& message) {
    LogLine const line(text);
    EXPECT_EQ(line.time, time) << text;
    EXPECT_EQ(line.seconds, seconds) << text;
    EXPECT_EQ(line.message, message) << text;
}

} // namespace

TEST(LogLine, TodaysFormHasATime) {
    expectLine("17:34:12 Title: Harbour Lights", "17:34:12", 63252, "Title: Harbour Lights");
    expectLine("00:00:00 x", "00:00:00", 0, "x");
    expectLine("23:59:60 x", "23:59:60", 86400, "x");
}

TEST(LogLine, TheOlderFormHasALevelAndAPlace) {
    expectLine("17:34:12 INFO  main.c:212: Title: x", "17:34:12", 63252, "Title: x");
    expectLine("17:34:12 INFO  src/main.c:9: Title: x", "17:34:12", 63252, "Title: x");
    for (char const* const level :
         {"TRACE", "DEBUG", "INFO", "WARN", "WARNING", "ERROR", "FATAL"}) {
        expectLine(std::string(level) + " main.c:1: x", "", LogLine::NO_TIME, "x");
    }
}

TEST(LogLine, EachPartMayBeMissing) {
    expectLine("Title: x", "", LogLine::NO_TIME, "Title: x");
    expectLine("main.c:212: Title: x", "", LogLine::NO_TIME, "Title: x");
    expectLine("17:34:12 main.c:212: Title: x", "17:34:12", 63252, "Title: x");
    expectLine("17:34:12 INFO Title: x", "17:34:12", 63252, "Title: x");
    expectLine("", "", LogLine::NO_TIME, "");
    expectLine("17:34:12", "17:34:12", 63252, "");
}

TEST(LogLine, ATimeMayHaveAFraction) {
    expectLine("17:34:12.345 x", "17:34:12.345", 63252, "x");
    expectLine("17:34:12,345 x", "17:34:12,345", 63252, "x");
}

TEST(LogLine, WhatLooksAlmostLikeATimeIsNone) {
    for (char const* const text :
         {"24:00:00 x", "17:60:00 x", "17:00:61 x", "17:34 x", "7:34:12 x", "17-34-12 x",
          "17:34-12 x", "17:34:1x x", "a7:34:12 x", "17:3b:12 x", "17:34:123 x", "17:34:12. x",
          "17:34:12.a x", "17:34:12Z x"}) {
        expectLine(text, "", LogLine::NO_TIME, text);
    }
}

TEST(LogLine, WhatLooksAlmostLikeAPlaceIsNone) {
    for (char const* const text :
         {"Title: 12: x", ":12: x", "main.c:12 x", "main.c:: x", "main.c:a1: x", "12: x"}) {
        expectLine(text, "", LogLine::NO_TIME, text);
    }
}

TEST(LogLine, ColoursAreDropped) {
    expectLine("17:34:12 \x1B[32mINFO \x1B[0m \x1B[90mmain.c:212:\x1B[0m Title: x", "17:34:12",
               63252, "Title: x");
    expectLine("\x1B[1;31mTitle: x\x1B[0", "", LogLine::NO_TIME, "Title: x");
    expectLine("a\x1Bz", "", LogLine::NO_TIME, "a\x1Bz");
    expectLine("a\x1B", "", LogLine::NO_TIME, "a\x1B");
}

TEST(LogLine, BlanksAndAByteOrderMarkInFrontAreDropped) {
    expectLine("\xEF\xBB\xBF\t 17:34:12   Title: x ", "17:34:12", 63252, "Title: x ");
}
