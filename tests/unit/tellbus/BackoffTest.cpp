#include "tellbus/Backoff.h"

#include <gtest/gtest.h>

using tellbus::Backoff;

TEST(Backoff, GrowsToItsLongestPauseAndStaysThere) {
    Backoff backoff;
    auto before = std::chrono::milliseconds(0);
    for (int attempt = 0; attempt < 20; ++attempt) {
        auto const pause = backoff.next();
        EXPECT_TRUE(pause > before || pause == Backoff::LONGEST);
        before = pause;
    }
    EXPECT_EQ(before, Backoff::LONGEST);
    // What is left of a second is for connecting and for taking the names back.
    EXPECT_LE(Backoff::LONGEST, std::chrono::milliseconds(500));
}

TEST(Backoff, BeginsAnew) {
    Backoff backoff;
    backoff.next();
    backoff.next();
    backoff.reset();
    EXPECT_EQ(backoff.next(), Backoff::FIRST);
}
