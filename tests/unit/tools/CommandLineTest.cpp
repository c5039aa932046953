#include "Version.h"
#include "unit/tools/support/CommandRun.h"

#include <CLI/CLI.hpp>

using testing::HasSubstr;

namespace {

struct Misuse {
    std::vector<std::string> words;
    char const* complaint;
};

class CommandLineMisuse : public testing::TestWithParam<Misuse> {};

std::vector<std::string> commandNames() {
    std::istringstream in;
    std::ostringstream out;
    Console console = {in, out, out};
    std::vector<std::string> names;
    auto const tree = commandTree(console);
    for (CLI::App const* const command : tree->get_subcommands({})) {
        names.push_back(command->get_name());
    }
    return names;
}

} // namespace

TEST_P(CommandLineMisuse, IsRefusedWithStatus2AndOneLine) {
    Outcome const outcome = run(GetParam().words);
    expectFailure(outcome, 2, GetParam().complaint);
    EXPECT_THAT(outcome.err, HasSubstr(" --help)"));
}

INSTANTIATE_TEST_SUITE_P(
    Words, CommandLineMisuse,
    testing::Values(
        Misuse{{}, "no command given; there are status, tag"},
        Misuse{{"encode"}, "there is no command \"encode\"; there are status, tag"},
        Misuse{{""}, "there is no command \"\""}, Misuse{{"--verbose"}, "A subcommand is required"},
        Misuse{{"decode", "--sent"}, "not expected: --sent (try songlatchctl decode --help)"},
        Misuse{{"decode", "-f"}, "--file: 1 required FILE missing"},
        Misuse{{"decode", "-f", "file", "00"}, "hex excludes --file"},
        Misuse{{"decode", "--device", "7x", "00"},
               "--device: \"7x\" is no whole number from -2147483648 to 2147483647"},
        Misuse{{"decode", "--device", "4294967295", "00"}, "is no whole number from"},
        Misuse{{"decode", "--device", "99999999999999999999", "00"}, "is no whole number from"},
        Misuse{{"decode", "--device", " 7", "00"}, "is no whole number from"},
        Misuse{{"status", "--timeout", "0"}, "--timeout: \"0\" is no whole number from 1 to 86400"},
        Misuse{{"status", "--timeout", "86401"}, "is no whole number from 1 to 86400"},
        Misuse{{"status", "now"}, "not expected: now"},
        Misuse{{"clear", "all"}, "not expected: all"},
        Misuse{{"watch", "--until", "noon"}, "--until: noon not in {localStatus,"},
        Misuse{{"watch", "--timeout", "5"}, "--timeout requires --until"},
        Misuse{{"check", "--artist", "A"}, "--name is required"},
        Misuse{{"check", "--name", "\xFF"}, "--name: \"?\" is not UTF-8 text"},
        Misuse{{"check", "--name", "A", "--artist", "\xC3("}, "--artist: \"?(\" is not UTF-8"},
        Misuse{{"check", "--name", "A", "--song-id", "1\xFE"}, "--song-id: \"1?\" is not UTF-8"},
        Misuse{{"press", "it"}, "not expected: it"}));

TEST(CommandLine, HelpNamesEveryCommand) {
    for (char const* const word : {"--help", "-h"}) {
        Outcome const outcome = run({word});
        EXPECT_EQ(outcome.status, 0);
        for (std::string const& name : commandNames()) {
            EXPECT_THAT(outcome.out, HasSubstr("\n  " + name + " "));
        }
    }
}

TEST(CommandLine, EveryCommandHasHelpAndAVersionOfItsOwn) {
    std::vector<std::string> const names = commandNames();
    EXPECT_GE(names.size(), 8U);
    for (std::string const& name : names) {
        Outcome const help = run({name, "--help"});
        EXPECT_EQ(help.status, 0);
        EXPECT_THAT(help.out, HasSubstr("songlatchctl " + name));
        EXPECT_EQ(run({name, "--version"}).out, run({"--version"}).out);
    }
}

TEST(CommandLine, EveryCommandPrintsJsonIfAskedTo) {
    for (std::string const& name : commandNames()) {
        EXPECT_THAT(run({name, "--help"}).out, HasSubstr("\n  --json ")) << name;
    }
}

TEST(CommandLine, TheVersionIsThatOfTheProject) {
    EXPECT_EQ(run({"--version"}).out, "songlatchctl " SONGLATCH_VERSION "\n");
}

TEST(CommandLine, AnOutputThatCannotBeWrittenIsAFailure) {
    std::istringstream in;
    std::ostringstream broken;
    std::ostringstream err;
    broken.setstate(std::ios::badbit);
    EXPECT_EQ(runCommandLine({"--version"}, {in, broken, err}), 1);
    EXPECT_EQ(err.str(), "songlatchctl: standard output cannot be written\n");
}
