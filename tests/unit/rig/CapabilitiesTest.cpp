#include "rig/Capabilities.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

TEST(RigCapabilities, AreNumbersJoinedByCommasInTheirOrder) {
    EXPECT_EQ((Capabilities{8, 3, 65535, 0, 8}), toCapabilities("8,3,65535,0,8"));
    EXPECT_EQ(Capabilities{}, toCapabilities("none"));
}

TEST(RigCapabilities, AnythingElseIsRefusedWithTheReasonAndTheCure) {
    for (char const* const text : {"", "8,", ",8", "8,,3", "x", "-1", "65536", "none,8"}) {
        EXPECT_THROW(toCapabilities(text), std::invalid_argument) << text;
    }
    try {
        toCapabilities("8,65536");
        FAIL();
    } catch (std::invalid_argument const& fault) {
        EXPECT_STREQ("capability list \"8,65536\": 65536 is not within 0 and 65535; give numbers "
                     "from 0 to 65535 joined by commas, as in 8,3, or none",
                     fault.what());
    }
}

} // namespace
