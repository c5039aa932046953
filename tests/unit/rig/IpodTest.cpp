#include "rig/Ipod.h"

#include "NodeClient.h"
#include "ReportLines.h"

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

namespace {

std::string const PLIST = "<plist><dict/></plist>";

class RigIpod : public ::testing::Test {
protected:
    Device device(std::string const& type = "ipod") {
        Device device;
        device.id = 7;
        device.mountPoint = mFolder.path("ipod");
        device.type = type;
        return device;
    }

    std::string nodePath() const { return mFolder.path("ipod") + CONTROLNODE; }

    static Faults faults(std::string const& words) {
        return Faults::from(Command("fault 7 " + words));
    }

    static std::string capabilities(NodeClient const& client, std::size_t bytes) {
        return client.message(CAPABILITY_REQUEST, 100, bytes);
    }

    TempDir mFolder;
    ReportLines mReports;
    Ipod mIpod{device(), {8, 3}, mReports.stream()};
};

TEST_F(RigIpod, TellsItsCapabilities) {
    mIpod.serve();
    NodeClient const client(nodePath());
    EXPECT_EQ(le(0) + le(0) + le(8) + hex("02 00 00 00  08 00  03 00"), capabilities(client, 20));
    EXPECT_EQ(R"({"device":7,"errno":0,"event":"capabilities","replyRoom":100})"
              "\n",
              mReports.text(0));
    mIpod.setCapabilities({});
    EXPECT_EQ(le(0) + le(0) + le(4) + le(0), capabilities(client, 16));
}

TEST_F(RigIpod, TakesTagsIntoAFile) {
    mIpod.serve();
    EXPECT_EQ(le(0) + le(0) + le(0), NodeClient(nodePath()).devctl(SEND_TAGS_COMMAND, PLIST));
    Json::Value const report = mReports.last();
    EXPECT_EQ("tags", report["event"].asString());
    EXPECT_EQ(7, report["device"].asInt());
    EXPECT_EQ(0, report["errno"].asInt());
    EXPECT_EQ(22, report["bytes"].asInt());
    EXPECT_TRUE(report["wellFormed"].asBool());
    EXPECT_FALSE(report.isMember("fault"));
    EXPECT_EQ(mFolder.path("ipod/Tagging/0001.plist"), report["file"].asString());
    EXPECT_EQ(PLIST, mFolder.read("ipod/Tagging/0001.plist"));
}

TEST_F(RigIpod, SaysWhatIsWrongWithAText) {
    mIpod.serve();
    NodeClient(nodePath()).devctl(SEND_TAGS_COMMAND, "<other/>");
    EXPECT_FALSE(mReports.last()["wellFormed"].asBool());
    EXPECT_EQ("the root is not a plist", mReports.last()["fault"].asString());
}

TEST_F(RigIpod, FailsAsOrdered) {
    mIpod.serve();
    mIpod.setFaults(faults("caps=EIO write=ENOSPC:9"));
    NodeClient const client(nodePath());
    EXPECT_EQ(le(static_cast<std::uint32_t>(-EIO)) + le(0) + le(0), capabilities(client, 12));
    EXPECT_EQ(EIO, mReports.last()["errno"].asInt());
    EXPECT_EQ(le(ENOSPC) + le(9) + le(0), client.devctl(SEND_TAGS_COMMAND, PLIST));
    EXPECT_EQ(ENOSPC, mReports.last()["errno"].asInt());
    EXPECT_EQ(mFolder.path("ipod/Tagging/0001.refused"), mReports.last()["file"].asString());
}

TEST_F(RigIpod, VanishesInTheMiddleOfItsAnswer) {
    mIpod.serve();
    mIpod.setFaults(faults("vanish=write"));
    NodeClient const client(nodePath());
    EXPECT_EQ(20U, capabilities(client, 20).size());
    client.send(le(2) + le(SEND_TAGS_COMMAND) + le(PLIST.size()) + le(0) + PLIST);
    EXPECT_EQ(6U, client.rest().size());
    EXPECT_TRUE(mReports.last()["vanished"].asBool());
    EXPECT_EQ(EIO, mReports.last()["errno"].asInt());
    EXPECT_EQ(mFolder.path("ipod/Tagging/0001.refused"), mReports.last()["file"].asString());
}

TEST_F(RigIpod, RefusesWhatItDoesNotKnow) {
    mIpod.serve();
    NodeClient const client(nodePath());
    EXPECT_EQ(le(ENOTTY) + le(0) + le(0), client.devctl(1, ""));
    EXPECT_EQ(R"({"bytes":0,"dcmd":1,"device":7,"errno":25,"event":"refused"})"
              "\n",
              mReports.text(0));
}

TEST_F(RigIpod, ReportsAnOrderedWaitThatAChangeEnds) {
    mIpod.serve();
    mIpod.setFaults(faults("slow=3600000"));
    NodeClient const client(nodePath());
    client.send(le(1) + le(0) + le(24) + le(100) + CAPABILITY_REQUEST);
    while (mReports.events().empty()) {
        std::this_thread::yield();
    }
    EXPECT_EQ(R"({"device":7,"event":"delayed","what":"capabilities"})"
              "\n",
              mReports.text(0));
    mIpod.setFaults(faults("none"));
    EXPECT_EQ(20U, client.take(20).size());
}

TEST_F(RigIpod, RefusesToBeOpenedUntilItWorksAgain) {
    mIpod.serve();
    mIpod.setFaults(faults("open"));
    EXPECT_FALSE(NodeClient(nodePath()).connected());
    mIpod.restore();
    EXPECT_FALSE(NodeClient(nodePath()).connected()) << "the order still holds";
    mIpod.setFaults(faults("none"));
    EXPECT_TRUE(NodeClient(nodePath()).connected());
}

TEST_F(RigIpod, AWithdrawnOneComesBack) {
    mIpod.serve();
    mIpod.withdraw();
    EXPECT_FALSE(std::filesystem::exists(nodePath()));
    mIpod.restore();
    EXPECT_EQ(20U, capabilities(NodeClient(nodePath()), 20).size());
}

TEST_F(RigIpod, AnotherDeviceHasNoNode) {
    Ipod usb(device("usb"), {}, mReports.stream());
    usb.serve();
    usb.setFaults(faults("none"));
    EXPECT_FALSE(std::filesystem::exists(nodePath()));
}

TEST_F(RigIpod, DescribesItself) {
    mIpod.setFaults(faults("slow=5"));
    Json::Value const fields = mIpod.describe();
    EXPECT_EQ(7, fields["id"].asInt());
    EXPECT_EQ(mFolder.path("ipod"), fields["mountPoint"].asString());
    EXPECT_EQ("ipod", fields["type"].asString());
    EXPECT_EQ(2U, fields["caps"].size());
    EXPECT_EQ(8, fields["caps"][0].asInt());
    EXPECT_EQ("slow=5", fields["fault"].asString());
}

} // namespace
