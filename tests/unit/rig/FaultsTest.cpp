#include "rig/Faults.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <stdexcept>

namespace {

Faults ordered(std::string const& words) {
    return Faults::from(Command("fault 7 " + words));
}

TEST(Faults, NothingIsWrongUnlessOrdered) {
    Faults const faults = ordered("none");
    EXPECT_FALSE(faults.refuseOpen);
    EXPECT_EQ(0, faults.capabilitiesErrno);
    EXPECT_EQ(0, faults.tagsErrno);
    EXPECT_EQ(0, faults.tagsInfo);
    EXPECT_EQ(0, faults.delay.count());
    EXPECT_EQ(Faults::Vanish::Never, faults.vanish);
    EXPECT_EQ("none", faults.text);
    EXPECT_EQ("none", ordered("").text);
}

TEST(Faults, SeveralStandInOneOrder) {
    Faults const faults = ordered("open caps=EIO write=ENOSPC:7 slow=200 vanish");
    EXPECT_TRUE(faults.refuseOpen);
    EXPECT_EQ(EIO, faults.capabilitiesErrno);
    EXPECT_EQ(ENOSPC, faults.tagsErrno);
    EXPECT_EQ(7, faults.tagsInfo);
    EXPECT_EQ(200, faults.delay.count());
    EXPECT_EQ(Faults::Vanish::Always, faults.vanish);
    EXPECT_EQ("open caps=EIO write=ENOSPC:7 slow=200 vanish", faults.text);
}

TEST(Faults, AnErrnoIsANameOrANumber) {
    EXPECT_EQ(77, ordered("caps=77").capabilitiesErrno);
    EXPECT_EQ(1000, ordered("write=1000").tagsErrno);
    EXPECT_EQ(EHWPOISON, ordered("write=EHWPOISON").tagsErrno) << "the last that has a name";
    EXPECT_EQ(EPERM, ordered("write=EPERM:-3").tagsErrno) << "the first";
    EXPECT_EQ(-3, ordered("write=EPERM:-3").tagsInfo);
    EXPECT_EQ(0, ordered("slow=0").delay.count());
}

TEST(Faults, ADriverVanishesFromWhatItIsToldTo) {
    using Request = DriverRequest;
    auto const never = ordered("none");
    auto const capabilities = ordered("vanish=caps");
    auto const tags = ordered("vanish=write");
    auto const always = ordered("vanish");
    for (auto const request : {Request::GetCapabilities, Request::SendTags, Request::Unknown}) {
        EXPECT_FALSE(never.vanishesFrom(request));
        EXPECT_EQ(request == Request::GetCapabilities, capabilities.vanishesFrom(request));
        EXPECT_EQ(request == Request::SendTags, tags.vanishesFrom(request));
        EXPECT_TRUE(always.vanishesFrom(request));
    }
}

TEST(Faults, WhatIsNotUnderstoodIsRefused) {
    for (char const* const words : {"sulk", "mood=bad", "caps=EWHAT", "caps=0", "write=-5",
                                    "write=EIO:x", "slow=-1", "slow=soon", "vanish=now"}) {
        EXPECT_THROW(ordered(words), std::invalid_argument) << words;
    }
    EXPECT_THROW(Faults::from(Command("fault")), std::invalid_argument) << "no device";
}

} // namespace
