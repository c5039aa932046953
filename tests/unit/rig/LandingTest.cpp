#include "rig/Landing.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace {

TEST(Landing, NumbersTheTextsBelowTheMountPoint) {
    TempDir const folder;
    Landing landing(folder.path("ipod"));
    EXPECT_EQ(folder.path("ipod/Tagging/0001.plist"), landing.land("one", true));
    EXPECT_EQ(folder.path("ipod/Tagging/0002.refused"), landing.land("two", false));
    EXPECT_EQ(folder.path("ipod/Tagging/0003.plist"), landing.land("three", true));
    EXPECT_EQ("one", folder.read("ipod/Tagging/0001.plist"));
    EXPECT_EQ("two", folder.read("ipod/Tagging/0002.refused"));
}

TEST(Landing, OverwritesNothingThatAnotherLeftThere) {
    TempDir const folder;
    Landing(folder.path("ipod")).land("first", true);
    Landing(folder.path("ipod")).land("second", false);
    EXPECT_EQ(folder.path("ipod/Tagging/0003.plist"), Landing(folder.path("ipod")).land("x", true));
    EXPECT_EQ("first", folder.read("ipod/Tagging/0001.plist"));
}

TEST(Landing, TellsOfATextThatCannotBeWritten) {
    TempDir const folder;
    folder.write("ipod", "no folder");
    EXPECT_EQ("", Landing(folder.path("ipod")).land("text", true));
}

} // namespace
