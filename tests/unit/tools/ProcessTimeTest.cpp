#include "tools/ProcessTime.h"

#include <gtest/gtest.h>

#include <ctime>
#include <limits>
#include <unistd.h>

TEST(ProcessStart, OfThisProcessIsAtMostItsAgeAgo) {
    auto const start = processStart(static_cast<std::uint32_t>(getpid()));
    ASSERT_TRUE(start);
    EXPECT_LE(*start, std::time(nullptr) + 1);
    EXPECT_GT(*start, std::time(nullptr) - 3600);
}

TEST(ProcessStart, OfAProcessThatIsNotThereIsUnknown) {
    EXPECT_FALSE(processStart(std::numeric_limits<std::uint32_t>::max()));
}
