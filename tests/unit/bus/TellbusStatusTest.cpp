#include "bus/TellbusStatus.h"

#include <gtest/gtest.h>

TEST(TellbusStatus, IsAFailureExactlyIfBit31IsSet) {
    EXPECT_FALSE(isTellbusFailure(0));
    EXPECT_FALSE(isTellbusFailure(0x0FFFFFFFU));
    EXPECT_FALSE(isTellbusFailure(0x40000000U));
    EXPECT_FALSE(isTellbusFailure(0x7FFFFFFFU));
    EXPECT_TRUE(isTellbusFailure(0x80000000U));
    EXPECT_TRUE(isTellbusFailure(0xC0000001U));
}

TEST(TellbusStatus, HasItsCodeInTheLow28Bits) {
    EXPECT_EQ(7, tellbusCode(0x80000007U));
    EXPECT_EQ(0x0FFFFFFF, tellbusCode(0xFFFFFFFFU));
}
