#include "unit/tools/support/CommandRun.h"

#include "support/OutputOf.h"
#include "support/TempDir.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

/** The completions for a shell, in a file. */
class Completions : public testing::Test {
protected:
    /** What the real bash proposes where the last word stands. */
    std::string proposedByBash(std::string const& words) const {
        return outputOf(
            {"bash", "-c",
             "cd \"$1\"; source completions; COMP_WORDS=($2); [ \"${2: -1}\" != ' ' ] || "
             "COMP_WORDS+=(''); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _songlatchctl; "
             "echo \"${COMPREPLY[@]}\"",
             "bash", folder("bash"), words});
    }

    std::string proposedByFish(std::string const& words) const {
        return outputOf({"env", "HOME=" + folder("fish"), "fish", "--no-config", "-c",
                         "cd $argv[1]; source completions; complete -C $argv[2]", folder("fish"),
                         words});
    }

    /** What the function tells zsh's own helpers, which need a terminal to go on. */
    std::string toldToZsh(std::string const& words) const {
        return outputOf(
            {"zsh", "-f", "-c",
             "compdef() {}; _arguments() { print -rl -- $@ }; _describe() { print -rl -- "
             "${(P)2} }; source $1/completions; words=(${=2} ''); CURRENT=${#words}; "
             "_songlatchctl",
             "zsh", folder("zsh"), words});
    }

private:
    std::string folder(std::string const& shell) const {
        mFolder.write("completions", run({"completion", shell}).out);
        mFolder.write("a-file", "");
        return mFolder.path();
    }

    TempDir mFolder;
};

} // namespace

TEST_F(Completions, OfBashProposeCommands) {
    EXPECT_EQ(proposedByBash("songlatchctl d"), "delivered decode doctor\n");
}

TEST_F(Completions, OfBashProposeTheOptionsOfACommand) {
    EXPECT_EQ(proposedByBash("songlatchctl tag --pr"), "--program --pressed\n");
    EXPECT_EQ(proposedByBash("songlatchctl clear --y"), "--yes\n");
}

TEST_F(Completions, OfBashProposeTheValuesOfAnOption) {
    EXPECT_EQ(proposedByBash("songlatchctl export --format "), "json csv plist\n");
    EXPECT_EQ(proposedByBash("songlatchctl watch --until TRANSFER_S"), "TRANSFER_SUCCEEDED\n");
    EXPECT_EQ(proposedByBash("songlatchctl completion f"), "fish\n");
}

TEST_F(Completions, OfBashProposeFilesWhereAFileIsMeant) {
    EXPECT_EQ(proposedByBash("songlatchctl tag a"), "a-file\n");
    EXPECT_EQ(proposedByBash("songlatchctl list --config a"), "a-file\n");
    EXPECT_EQ(proposedByBash("songlatchctl decode -f a"), "a-file\n");
}

TEST_F(Completions, LeaveToTheUserWhatOnlyTheUserKnows) {
    EXPECT_EQ(proposedByBash("songlatchctl tag --name "), "\n");
    EXPECT_EQ(proposedByFish("songlatchctl tag --name "), "");
}

TEST_F(Completions, OfFishProposeWhatTheParserKnows) {
    EXPECT_THAT(proposedByFish("songlatchctl d"),
                AllOf(HasSubstr("decode\tread a radio's tag stream\n"), HasSubstr("doctor\t")));
    EXPECT_THAT(proposedByFish("songlatchctl export --format "),
                AllOf(HasSubstr("csv"), HasSubstr("plist"), Not(HasSubstr("a-file"))));
    EXPECT_THAT(proposedByFish("songlatchctl list --config "), HasSubstr("a-file"));
    EXPECT_THAT(proposedByFish("songlatchctl clear --y"), HasSubstr("--yes\tdo not ask"));
}

TEST_F(Completions, OfZshProposeWhatTheParserKnows) {
    EXPECT_THAT(toldToZsh("songlatchctl"), HasSubstr("decode:read a radio's tag stream\n"));
    EXPECT_THAT(toldToZsh("songlatchctl export"),
                AllOf(HasSubstr("*--format[json, csv or plist]:value:(json csv plist)\n"),
                      HasSubstr("*--config["), HasSubstr("]:value:_files\n")));
    EXPECT_THAT(toldToZsh("songlatchctl clear"), HasSubstr("*--yes[do not ask]\n"));
}

TEST_F(Completions, AreThereForTheseShellsAlone) {
    expectFailure(run({"completion", "csh"}), 2, "csh not in {bash,zsh,fish}");
}
