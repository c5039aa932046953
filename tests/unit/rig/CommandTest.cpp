#include "rig/Command.h"

#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>

namespace {

std::string messageOf(std::function<void()> const& action) {
    try {
        action();
    } catch (std::invalid_argument const& fault) {
        return fault.what();
    }
    return "nothing thrown";
}

TEST(Command, TakesALineApart) {
    Command const command(" attach\t7  /mnt/ipod   caps=8,3 silent name=\"My iPod\" ");
    EXPECT_EQ("attach", command.name());
    EXPECT_EQ("7  /mnt/ipod   caps=8,3 silent name=\"My iPod\" ", command.rest());
    EXPECT_EQ(3U, command.wordCount());
    EXPECT_EQ(7, command.number(0, "an id"));
    EXPECT_EQ("/mnt/ipod", command.word(1, "a path"));
    EXPECT_TRUE(command.hasWord("silent"));
    EXPECT_FALSE(command.hasWord("loud"));
    EXPECT_EQ("8,3", command.option("caps", ""));
    EXPECT_EQ("My iPod", command.option("name", ""));
    EXPECT_EQ("audio", command.option("content", "audio"));
    EXPECT_EQ(2U, command.options().size());
}

TEST(Command, NothingAndACommentHaveNoName) {
    for (char const* const line : {"", "  \t ", "# attach 7", "  #"}) {
        EXPECT_EQ("", Command(line).name()) << line;
    }
}

TEST(Command, APathWithAnEqualsSignIsAWord) {
    Command const command("attach 7 /mnt/a=b");
    EXPECT_EQ("/mnt/a=b", command.word(1, "a path"));
    EXPECT_TRUE(command.options().empty());
}

TEST(Command, WhatIsMissingIsNamed) {
    Command const command("detach");
    EXPECT_EQ("detach needs a device id", messageOf([&] { command.number(0, "a device id"); }));
}

TEST(Command, WhatItDoesNotKnowIsNamedWithWhatItTakes) {
    Command const command("detach 7 silnet loud=yes");
    EXPECT_EQ("detach does not know the word silnet; behind its 1 fixed word it takes silent",
              messageOf([&] { command.allowOnly(1, {"silent"}, {"loud"}); }));
    EXPECT_EQ("detach does not know the option loud; it takes a=, b=", messageOf([&] {
                  command.allowOnly(2, {}, {"a", "b"});
              }));
    EXPECT_EQ("detach does not know the option loud; it takes none", messageOf([&] {
                  command.allowOnly(1, {"silnet", "silent"});
              }));
    EXPECT_EQ("nothing thrown", messageOf([&] { command.allowOnly(2, {}, {"loud"}); }));
}

TEST(Command, ANumberIsTheWholeText) {
    EXPECT_EQ(-5, toNumber("-5"));
    EXPECT_EQ(0, toNumber("0"));
    for (char const* const text : {"", "x", "5x", " 5", "5 ", "99999999999"}) {
        EXPECT_EQ("\"" + std::string(text) + "\" is not a number",
                  messageOf([&] { toNumber(text); }));
    }
}

} // namespace
