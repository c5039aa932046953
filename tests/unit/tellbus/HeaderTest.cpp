#include "tellbus/tellbus.h"

#include <gtest/gtest.h>

extern "C" TELLBUS_tStatus statusOfUseFromC(void);

TEST(Header, WorksFromC) {
    EXPECT_EQ(statusOfUseFromC(), TELLBUS_E_HANDLE);
}

TEST(Header, HasTheSignOfTheWordForFailure) {
    EXPECT_FALSE(TELLBUS_FAILED(TELLBUS_OK));
    EXPECT_FALSE(TELLBUS_FAILED(TELLBUS_NO_REPLY_WANTED));
    EXPECT_TRUE(TELLBUS_FAILED(TELLBUS_E_ARGUMENT));
    EXPECT_EQ(TELLBUS_E_INTERNAL >> 28U, 8U);
}
