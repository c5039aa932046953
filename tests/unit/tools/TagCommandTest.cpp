#include "support/TempDir.h"
#include "unit/tools/support/CommandRun.h"

namespace {

struct Refused {
    std::vector<std::string> words;
    int status;
    char const* complaint;
};

class TagCommandRefuses : public testing::TestWithParam<Refused> {};

} // namespace

TEST_P(TagCommandRefuses, BeforeAnythingIsSent) {
    expectFailure(run(GetParam().words), GetParam().status, GetParam().complaint);
}

INSTANTIATE_TEST_SUITE_P(
    Words, TagCommandRefuses,
    testing::Values(
        Refused{{"tag"}, 2, "tag needs the song"},
        Refused{{"tag", "--device", "7"}, 2, "tag needs the song"},
        Refused{{"tag", "a", "b"}, 2, "not expected: b"},
        Refused{{"tag", "-", "--name", "A"}, 2, "from \"-\" or from options, and not from both"},
        Refused{{"tag", "-", "--pressed", "1"}, 2, "and not from both"},
        Refused{{"tag", "--name", "A", "--name", "B", "--name", "C"}, 2, "and not 3 times"},
        Refused{{"tag", "--name", "A", "--pressed", "1"}, 2, "there is only one"},
        Refused{{"tag", "--name", "A", "--name", "B", "--pressed", "3"}, 2, "--pressed"},
        Refused{{"tag", "--name", "\xFF"}, 2, "--name: \"?\" is not UTF-8 text"},
        Refused{{"tag", "--name", "A", "--song-id", "2147483648"},
                2,
                "--song-id: \"2147483648\" is no whole number from 0 to 2147483647, and others the "
                "service does not read"},
        Refused{{"tag", "--name", "A", "--song-id", "-1"}, 2, "from 0 to 2147483647"},
        Refused{{"tag", "--name", "A", "--storefront", "4294967296"}, 2, "to 4294967295"},
        Refused{
            {"tag", "--name", "A", "--feed", "http://feed"}, 2, "--feed: \"http://feed\" is no"},
        Refused{{"tag", "--name", "A", "--program", "one"}, 2, "--program: \"one\" is no"},
        Refused{{"tag", "/nowhere/at/all"},
                1,
                "cannot read /nowhere/at/all: No such file or directory"},
        Refused{{"tag", "/"}, 1, "Is a directory"}));
