#include "platform/ControlNodePeer.h"

#include "support/Bytes.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

using Progress = ControlNodePeer::Progress;

std::vector<std::uint8_t> asBytes(std::string const& text) {
    return {text.begin(), text.end()};
}

/** A peer whose other end the test writes and reads itself. */
class Peer : public ::testing::Test {
protected:
    void SetUp() override {
        int ends[2] = {-1, -1};
        ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
        mClient = ends[0];
        mPeer = std::make_unique<ControlNodePeer>(ends[1]);
    }
    void TearDown() override { leave(); }

    void arrive(std::string const& bytes) {
        ASSERT_EQ(static_cast<ssize_t>(bytes.size()),
                  send(mClient, bytes.data(), bytes.size(), MSG_NOSIGNAL));
    }

    std::string left() const {
        std::string bytes(1000, '\0');
        ssize_t const count = recv(mClient, bytes.data(), bytes.size(), MSG_DONTWAIT);
        bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
        return bytes;
    }

    void leave() {
        if (mClient != -1) {
            close(mClient);
            mClient = -1;
        }
    }

    int mClient = -1;
    std::unique_ptr<ControlNodePeer> mPeer;
};

TEST_F(Peer, ReadsAMessage) {
    arrive(le(1) + le(0) + le(3) + le(18) + "abc");
    ASSERT_EQ(Progress::Arrived, mPeer->read());
    ControlNodeRequest const& request = mPeer->request();
    EXPECT_EQ(ControlNodeKind::Message, request.kind);
    EXPECT_EQ(0U, request.dcmd);
    EXPECT_EQ(18U, request.replyRoom);
    EXPECT_EQ(asBytes("abc"), request.data);
}

TEST_F(Peer, ReadsADeviceCommand) {
    arrive(le(2) + le(0x80010E84) + le(0) + le(0));
    ASSERT_EQ(Progress::Arrived, mPeer->read());
    EXPECT_EQ(ControlNodeKind::Devctl, mPeer->request().kind);
    EXPECT_EQ(0x80010E84, mPeer->request().dcmd);
    EXPECT_TRUE(mPeer->request().data.empty());
}

TEST_F(Peer, ARequestMayArriveByteByByte) {
    std::string const whole = le(1) + le(0) + le(3) + le(0) + "abc";
    for (char const byte : whole.substr(0, whole.size() - 1)) {
        arrive({byte});
        ASSERT_EQ(Progress::Waiting, mPeer->read());
    }
    arrive("c");
    ASSERT_EQ(Progress::Arrived, mPeer->read());
    EXPECT_EQ(asBytes("abc"), mPeer->request().data);
}

TEST_F(Peer, TakesNothingOfTheNextRequest) {
    std::string const first = le(1) + le(0) + le(2) + le(0) + "ab";
    std::string const second = le(1) + le(0) + le(3) + le(0) + "cde";
    arrive(first + second);
    ASSERT_EQ(Progress::Arrived, mPeer->read());
    EXPECT_EQ(asBytes("ab"), mPeer->request().data);
    ASSERT_EQ(Progress::Arrived, mPeer->read());
    EXPECT_EQ(asBytes("cde"), mPeer->request().data);
    EXPECT_EQ(Progress::Waiting, mPeer->read());
}

TEST_F(Peer, AClientThatLeavesIsGone) {
    arrive(le(1) + le(0) + le(2));
    ASSERT_EQ(Progress::Waiting, mPeer->read());
    leave();
    EXPECT_EQ(Progress::Gone, mPeer->read());
    EXPECT_FALSE(mPeer->startReply({}));
}

TEST_F(Peer, WhatIsNoRequestIsTakenForAClientThatHasGone) {
    std::string const broken[] = {
        le(0) + le(0) + le(0) + le(0),
        le(3) + le(0) + le(0) + le(0),
        le(1) + le(0) + le(0x80000000) + le(0),
        le(1) + le(0) + le(0) + le(0xFFFFFFFF),
    };
    for (std::string const& header : broken) {
        SetUp();
        arrive(header);
        EXPECT_EQ(Progress::Gone, mPeer->read());
        TearDown();
    }
}

TEST_F(Peer, ALengthAloneCostsNoMemory) {
    arrive(le(1) + le(0) + le(0x7FFFFFFF) + le(0) + "abc");
    EXPECT_EQ(Progress::Waiting, mPeer->read());
    EXPECT_LT(mPeer->request().data.capacity(), 1000U);
}

TEST_F(Peer, AReplyStandsOnTheWireByteForByte) {
    arrive(le(1) + le(0) + le(0) + le(4));
    ASSERT_EQ(Progress::Arrived, mPeer->read());
    EXPECT_TRUE(mPeer->startReply({-28, 7, asBytes("ab")}));
    EXPECT_EQ(hex("e4 ff ff ff  07 00 00 00  02 00 00 00  61 62"), left());
}

TEST_F(Peer, AMisbehavingDriverCanSendWhatItLikes) {
    auto bytes = ControlNodePeer::encode({0, 0, asBytes("too much")});
    bytes.resize(5);
    EXPECT_TRUE(mPeer->startSend(bytes));
    EXPECT_EQ(hex("00 00 00 00 00"), left());
}

TEST_F(Peer, AReplyIsCutToTheRoomOfTheSender) {
    arrive(le(1) + le(0) + le(0) + le(4));
    ASSERT_EQ(Progress::Arrived, mPeer->read());
    EXPECT_TRUE(mPeer->startReply({-28, 7, asBytes("abcdefg")}));
    EXPECT_FALSE(mPeer->hasUnsent());
    EXPECT_EQ(hex("e4 ff ff ff  07 00 00 00  04 00 00 00") + "abcd", left());
}

TEST_F(Peer, WhatAClientDoesNotTakeIsKeptAndSentOn) {
    std::string const all = pattern(3000000);
    ASSERT_TRUE(mPeer->startSend(asBytes(all)));
    ASSERT_TRUE(mPeer->hasUnsent());
    EXPECT_TRUE(mPeer->flush()) << "nothing fits, and nothing waits";
    std::string taken;
    while (mPeer->hasUnsent()) {
        taken += left();
        ASSERT_TRUE(mPeer->flush());
    }
    for (std::string more = left(); !more.empty(); more = left()) {
        taken += more;
    }
    EXPECT_TRUE(taken == all);
}

TEST_F(Peer, NothingIsSentOnToAClientThatHasLeft) {
    ASSERT_TRUE(mPeer->startSend(std::vector<std::uint8_t>(3000000)));
    leave();
    EXPECT_FALSE(mPeer->flush());
    EXPECT_FALSE(mPeer->startReply({}));
}

} // namespace
