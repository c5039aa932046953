#include "bus/IdCounter.h"

#include <gtest/gtest.h>

TEST(IdCounter, StartsAtOneAndGoesUpByOne) {
    IdCounter ids;
    EXPECT_EQ(1U, ids.next());
    EXPECT_EQ(2U, ids.next());
    EXPECT_EQ(3U, ids.next());
}

TEST(IdCounter, StepsFromTheLargestNumberToOneAndNeverGivesZero) {
    IdCounter ids(0xFFFFFFFEU);
    EXPECT_EQ(0xFFFFFFFFU, ids.next());
    EXPECT_EQ(1U, ids.next());
    EXPECT_EQ(2U, ids.next());
}
