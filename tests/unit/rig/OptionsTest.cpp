#include "rig/Options.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

using Words = std::vector<std::string>;

std::string faultOf(Words const& words) {
    try {
        Options::from(words);
    } catch (std::invalid_argument const& fault) {
        return fault.what();
    }
    return "none";
}

TEST(RigOptions, ThereIsNoPageUnlessItIsAskedFor) {
    auto const options = Options::from({"--script", "a", "--stay", "--script", "b"});
    EXPECT_EQ((Words{"a", "b"}), options.scripts);
    EXPECT_TRUE(options.stay);
    EXPECT_FALSE(options.help);
    EXPECT_FALSE(options.page.has_value());
    EXPECT_TRUE(Options::from({"-h"}).help);
}

TEST(RigOptions, ThePageLooksWhereTheServiceIsToldTo) {
    auto const page = *Options::from({"--page", "8095", "--service", "Songlatch  -config=/x"}).page;
    EXPECT_EQ(8095, page.address.port);
    EXPECT_EQ((Words{"Songlatch", "-config=/x"}), page.service);
    EXPECT_EQ("/x", page.configuration);
    EXPECT_EQ("/tmp/Songlatching.log", page.log);
    EXPECT_EQ("", page.mounts);
}

TEST(RigOptions, EverythingOfThePageCanBeNamed) {
    auto const page = *Options::from({"--config", "/c", "--log", "/l", "--mounts", "/m", "--page",
                                      "[::1]:1", "--service", "S -config=/x"})
                           .page;
    EXPECT_EQ("::1", page.address.host);
    EXPECT_EQ("/c", page.configuration);
    EXPECT_EQ("/l", page.log);
    EXPECT_EQ("/m", page.mounts);
    EXPECT_EQ("/etc/Songlatch.conf", Options::from({"--page", "1"}).page->configuration);
}

TEST(RigOptions, WhatIsNotUnderstoodIsNamedWithTheCure) {
    EXPECT_EQ("songlatch-rig: --nonsense is not understood; see --help", faultOf({"--nonsense"}));
    EXPECT_EQ("songlatch-rig: --script needs a file; see --help", faultOf({"--script"}));
    EXPECT_EQ("songlatch-rig: --log is for the page; say --page too", faultOf({"--log", "x"}));
    EXPECT_EQ("songlatch-rig: --service needs a command; see --help",
              faultOf({"--page", "1", "--service", " "}));
    EXPECT_NE("none", faultOf({"--page", "here"}));
}

} // namespace
