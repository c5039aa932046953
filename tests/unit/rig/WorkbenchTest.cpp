#include "rig/Workbench.h"

#include "ReportLines.h"
#include "support/PrivateBus.h"

#include <gtest/gtest.h>

namespace {

using Names = std::vector<std::string>;

class RigWorkbench : public ::testing::Test {
protected:
    RigWorkbench() {
        mBus.use();
        mWorkbench = std::make_unique<Workbench>(mReports.stream());
    }

    Json::Value perform(std::string const& line) {
        mWorkbench->perform(line);
        return mReports.last();
    }

    Json::Value attach(std::string const& words) { return perform("attach " + words); }

    std::string mountPoint() const { return mFolder.path("ipod"); }

    /** As a command takes it, whatever folder temporary files are in. */
    static std::string word(std::string const& path) { return '"' + path + '"'; }

    PrivateBus mBus;
    TempDir mFolder;
    ReportLines mReports;
    std::unique_ptr<Workbench> mWorkbench;
};

TEST_F(RigWorkbench, AnAttachedDeviceHasWhatIsLeftOutFilledIn) {
    Json::Value const report = attach("7 " + word(mountPoint()));
    EXPECT_EQ("attached", report["event"].asString());
    EXPECT_EQ(7, report["id"].asInt());
    EXPECT_EQ(mountPoint(), report["mountPoint"].asString());
    EXPECT_EQ("ipod", report["type"].asString());
    EXPECT_EQ("Device 7", report["name"].asString());
    EXPECT_EQ("audio", report["content"].asString());
    EXPECT_EQ("/dev/ipod7", report["storage"].asString());
    Json::Value const device = perform("list")["devices"][0];
    EXPECT_EQ(2U, device["caps"].size());
    EXPECT_EQ(8, device["caps"][0].asInt());
    EXPECT_EQ(3, device["caps"][1].asInt());
    EXPECT_EQ("none", device["fault"].asString());
}

TEST_F(RigWorkbench, ChangesAreReportedWithTheWholeDevice) {
    attach("7 " + word(mountPoint()));
    EXPECT_EQ("slow=5", perform("fault 7 slow=5")["fault"].asString());
    Json::Value const report = perform("caps 7 1,2,3");
    EXPECT_EQ("changed", report["event"].asString());
    EXPECT_EQ(3U, report["caps"].size());
    EXPECT_EQ("slow=5", report["fault"].asString());
}

TEST_F(RigWorkbench, ADetachedDeviceIsGone) {
    attach("7 " + word(mountPoint()));
    EXPECT_EQ("detached", perform("detach 7")["event"].asString());
    EXPECT_TRUE(perform("list")["devices"].empty());
    EXPECT_EQ("no device 7; list shows what is attached",
              perform("detach 7")["message"].asString());
}

TEST_F(RigWorkbench, AnAttachedIdIsReplacedAndMovesToTheEnd) {
    attach("7 " + word(mountPoint()));
    attach("8 " + word(mFolder.path("other")));
    attach("7 " + word(mountPoint() + "/") + " caps=9");
    Json::Value const devices = perform("list")["devices"];
    ASSERT_EQ(2U, devices.size());
    EXPECT_EQ(8, devices[0]["id"].asInt());
    EXPECT_EQ(9, devices[1]["caps"][0].asInt());
}

TEST_F(RigWorkbench, EveryAnswerToGetDevicesCanBeOrdered) {
    for (char const* const answer : {"none", "error", "{\"devices\":5}", "default"}) {
        EXPECT_EQ("answering", perform(std::string("answer ") + answer)["event"].asString());
    }
    EXPECT_EQ("signalled", perform("signal {\"available\":1}")["event"].asString());
}

TEST_F(RigWorkbench, NothingAndACommentAreNotReported) {
    mWorkbench->perform("");
    mWorkbench->perform("# attach");
    EXPECT_EQ(Names{}, mReports.events());
}

TEST_F(RigWorkbench, QuitEndsItAndNothingElseDoes) {
    perform("help");
    perform("quit now");
    EXPECT_FALSE(mWorkbench->ended());
    mWorkbench->perform("quit");
    EXPECT_TRUE(mWorkbench->ended());
    EXPECT_EQ((Names{"help", "error"}), mReports.events());
}

TEST_F(RigWorkbench, HelpNamesEveryCommand) {
    Json::Value const commands = perform("help")["commands"];
    ASSERT_EQ(9U, commands.size());
    for (auto const& usage : commands) {
        EXPECT_NE(std::string::npos, Workbench::help().find("  " + usage.asString() + "\n"));
    }
}

TEST_F(RigWorkbench, ItsNameCanBeHadOnce) {
    try {
        Workbench second(mReports.stream());
        FAIL();
    } catch (std::runtime_error const& fault) {
        EXPECT_STREQ("taking the name com.veldan.service.Media failed with status 0x8000000C",
                     fault.what());
    }
}

} // namespace
