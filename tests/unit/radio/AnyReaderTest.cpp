#include "radio/AnyReader.h"
#include "Heard.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

TEST(AnyReader, EachLineIsReadByItsLook) {
    EXPECT_THAT(
        heardIn<AnyReader>("17:00:01 Title: One\n17:00:01 Artist: A\n17:00:02 {\"title\":\"Two\"}\n"
                           "000101000000000000000000000000005859\n17:00:01 Title: Four\n"),
        ElementsAre("17:00:01 event title=One artist=A", "17:00:02 event title=Two",
                    "event title=X artist=Y", "17:00:01 event title=Four"));
}

TEST(AnyReader, DamagedLinesOfEitherFormCount) {
    Heard heard;
    AnyReader reader(heard);
    reader.feed("{ no json\n00 02 00 00 00 00 00 00 00 00 00 00 00 00 00 00 58\nwhatever\n\n");
    EXPECT_EQ(reader.damagedLines(), 2U);
    EXPECT_THAT(heard.lines, IsEmpty());
}

TEST(AnyReader, WhatALogHoldsBackIsHandedOut) {
    Heard heard;
    AnyReader reader(heard);
    EXPECT_FALSE(reader.isWaiting());
    reader.feed("Title: One\n");
    EXPECT_TRUE(reader.isWaiting());
    reader.settle();
    EXPECT_EQ(heard.lines.size(), 1U);
    reader.feed("Artist: A\n");
    reader.settleSong();
    EXPECT_EQ(heard.lines.size(), 2U);
    reader.endEvent();
    EXPECT_FALSE(reader.isWaiting());
}
