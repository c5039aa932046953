#include "rig/DriverLoop.h"

#include "NodeClient.h"
#include "support/BlockedThread.h"
#include "support/TempDir.h"

#include <chrono>
#include <filesystem>
#include <future>
#include <gtest/gtest.h>
#include <stdexcept>

namespace {

using namespace std::chrono_literals;

class Loop : public ::testing::Test {
protected:
    /** Serves the node with a driver that gives every request back as it came. */
    Loop()
        : mLoop([](ControlNodePeer& peer) {
              return peer.startReply({0, 0, peer.request().data});
          }) {
        mLoop.offer(mPath);
        mLoop.start();
    }

    static std::string echo(std::string const& text) {
        return le(0) + le(0) + le(text.size()) + text;
    }

    void expectServed(NodeClient const& client, std::string const& text) {
        EXPECT_EQ(echo(text), client.message(text, 100, 12 + text.size()));
    }

    TempDir mFolder;
    std::string mPath = mFolder.path("node");
    DriverLoop mLoop;
};

TEST_F(Loop, ServesAllWhoHaveOpenedTheNode) {
    NodeClient const first(mPath);
    NodeClient const second(mPath);
    expectServed(second, "a");
    expectServed(first, "b");
    expectServed(second, "c");
}

TEST_F(Loop, HalfARequestKeepsNobodyWaiting) {
    NodeClient const slow(mPath);
    slow.send(le(1) + le(0) + le(4) + le(100) + "ab");
    expectServed(NodeClient(mPath), "quick");
    slow.send("cd");
    EXPECT_EQ(echo("abcd"), slow.take(16));
}

TEST_F(Loop, WhatAClientDoesNotReadIsKeptForIt) {
    std::string const text = pattern(3000000);
    NodeClient const lazy(mPath);
    lazy.send(le(1) + le(0) + le(text.size()) + le(text.size()) + text);
    expectServed(NodeClient(mPath), "quick");
    EXPECT_TRUE(lazy.take(12 + text.size()) == echo(text));
    expectServed(lazy, "again");
}

TEST_F(Loop, WhatArrivesWhileItIsStoppedIsServedLater) {
    NodeClient const client(mPath);
    expectServed(client, "a");
    mLoop.stop();
    mLoop.stop();
    NodeClient const late(mPath);
    client.send(le(1) + le(0) + le(1) + le(1) + "b");
    late.send(le(1) + le(0) + le(1) + le(1) + "c");
    mLoop.start();
    EXPECT_EQ(echo("b"), client.take(13));
    EXPECT_EQ(echo("c"), late.take(13));
}

TEST_F(Loop, WithdrawnItKeepsWhoHasItOpen) {
    NodeClient const client(mPath);
    expectServed(client, "a");
    mLoop.stop();
    mLoop.withdraw();
    mLoop.start();
    EXPECT_FALSE(std::filesystem::exists(mPath));
    EXPECT_FALSE(NodeClient(mPath).connected());
    expectServed(client, "b");
    mLoop.stop();
    mLoop.offer(mPath);
    mLoop.offer(mPath);
    mLoop.start();
    expectServed(NodeClient(mPath), "c");
    expectServed(client, "d");
}

TEST_F(Loop, ANodeThatCannotBeOfferedIsNamed) {
    DriverLoop other([](ControlNodePeer&) { return true; });
    try {
        other.offer(mPath);
        FAIL();
    } catch (std::runtime_error const& fault) {
        EXPECT_EQ("no node at " + mPath + ": Address already in use", fault.what());
    }
}

TEST_F(Loop, AClientOfWhichTheDriverWillHearNoMoreIsClosedOn) {
    std::string const path = mFolder.path("other");
    DriverLoop other([](ControlNodePeer&) { return false; });
    other.offer(path);
    other.start();
    NodeClient const client(path);
    client.send(le(1) + le(0) + le(0) + le(0));
    EXPECT_EQ("", client.rest());
}

TEST_F(Loop, WhatIsNoRequestIsClosedOn) {
    NodeClient const client(mPath);
    client.send(le(9) + le(0) + le(0) + le(0));
    EXPECT_EQ("", client.rest());
    expectServed(NodeClient(mPath), "next");
}

TEST_F(Loop, ItsEndTakesTheNodeAwayAndClosesOnClients) {
    std::string const path = mFolder.path("other");
    auto other = std::make_unique<DriverLoop>([](ControlNodePeer&) { return true; });
    other->offer(path);
    other->start();
    NodeClient const client(path);
    other.reset();
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ("", client.rest());
}

TEST_F(Loop, AStopCutsTheDriversWaitShort) {
    std::string const path = mFolder.path("other");
    std::promise<pid_t> waiting;
    DriverLoop other([&](ControlNodePeer& peer) {
        waiting.set_value(threadId());
        other.waitAWhile(1h);
        return peer.startReply({});
    });
    other.offer(path);
    other.start();
    NodeClient const client(path);
    client.send(le(1) + le(0) + le(0) + le(0));
    ASSERT_TRUE(waitUntilBlocked(waiting.get_future().get()));
    other.stop();
    EXPECT_EQ(le(0) + le(0) + le(0), client.take(12)) << "the request it worked on is answered";
}

TEST_F(Loop, AWaitLastsAsLongAsItIsTold) {
    auto const begin = std::chrono::steady_clock::now();
    mLoop.waitAWhile(30ms);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 30ms);
}

} // namespace
