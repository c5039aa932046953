#include "support/TempDir.h"
#include "unit/tools/support/CommandRun.h"

#include <cstdlib>

namespace {

class WithoutABus : public testing::Test {
protected:
    WithoutABus() {
        setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + mFolder.path("none")).c_str(), 1);
        unsetenv("DBUS_STARTER_ADDRESS");
        unsetenv("DBUS_STARTER_BUS_TYPE");
    }
    ~WithoutABus() override { unsetenv("DBUS_SYSTEM_BUS_ADDRESS"); }

    TempDir mFolder;
};

} // namespace

TEST_F(WithoutABus, EveryCommandThatNeedsItEndsWithStatus3AndSaysWhereItLooked) {
    constexpr char STREAM[] = "00 02 00 00 00 01 00 00 00 00 00 00 00 00 00 01 4D 65 31 31";
    for (std::vector<std::string> const& words : {std::vector<std::string>{"status"},
                                                  {"status", "--json"},
                                                  {"clear"},
                                                  {"check", "--name", "Song"},
                                                  {"watch"},
                                                  {"tag", "--name", "Song"},
                                                  {"now"},
                                                  {"press"},
                                                  {"decode", "--send", STREAM}}) {
        expectFailure(run(words), 3,
                      "there is no service bus at unix:path=" + mFolder.path("none")
                          + ". Start it");
    }
    expectFailure(run({"tag", "-"}, "{}"), 3, "there is no service bus");
}

TEST_F(WithoutABus, WhatIsWrongWithARequestIsSaidFirst) {
    expectFailure(run({"tag", "-"}, "{"), 1, "standard input is not JSON");
}
