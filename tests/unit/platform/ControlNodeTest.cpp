#include "platform/ControlNode.h"
#include "platform/neutrino.h"
#include "support/BlockedThread.h"
#include "support/ServedNode.h"
#include "support/TempDir.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <future>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

bool closesOnExec(int fd) {
    return (fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0;
}

bool isOpen(int fd) {
    return fcntl(fd, F_GETFD) != -1;
}

/** A folder path below `start` that is at least `length` long. */
std::string deepFolder(std::string const& start, std::size_t length) {
    std::string path = start;
    while (path.size() < length) {
        path += "/" + std::string(100, 'd');
    }
    return path;
}

int askThrough(std::string const& path) {
    int const fd = openControlNode(path.c_str(), O_RDWR);
    if (fd == -1) {
        return -1;
    }
    int const result = MsgSend(fd, "x", 1, nullptr, 0);
    close(fd);
    return result;
}

class ControlNode : public ::testing::Test {
protected:
    void expectFailure(char const* path, int error) {
        errno = 0;
        EXPECT_EQ(-1, openControlNode(path, O_RDWR));
        EXPECT_EQ(error, errno);
    }

    TempDir mFolder;
    std::string mPath = mFolder.path() + CONTROLNODE;
};

TEST_F(ControlNode, ASocketIsConnectedTo) {
    ServedNode const node(mPath, ControlNodeReply{5, 0, {}});
    EXPECT_EQ(5, askThrough(mPath));
    EXPECT_EQ(1U, node.requests().size());
}

TEST_F(ControlNode, ServesSeveralClientsAtOnce) {
    ServedNode const node(mPath, ControlNodeReply{5, 0, {}});
    int const first = openControlNode(mPath.c_str(), O_RDWR);
    int const second = openControlNode(mPath.c_str(), O_RDWR);
    EXPECT_EQ(5, MsgSend(second, "x", 1, nullptr, 0));
    EXPECT_EQ(5, MsgSend(first, "x", 1, nullptr, 0));
    close(first);
    close(second);
}

TEST_F(ControlNode, APathAsLongAsTheSystemTakesWorks) {
    for (std::size_t const length : {80U, 107U, 108U, 109U, 500U, 3900U}) {
        std::string const path = deepFolder(mFolder.path(), length) + CONTROLNODE;
        ASSERT_LT(path.size(), static_cast<std::size_t>(PATH_MAX));
        ServedNode const node(path, ControlNodeReply{5, 0, {}});
        EXPECT_EQ(5, askThrough(path)) << path.size() << " characters";
    }
}

TEST_F(ControlNode, PathsAroundTheLengthOfASocketAddressWork) {
    constexpr std::size_t ROOM = sizeof(sockaddr_un::sun_path);
    for (std::size_t length = ROOM - 2; length <= ROOM + 1; ++length) {
        std::size_t const fill = length - mPath.size() - 1;
        std::string const path = mFolder.path(std::string(fill, 'm')) + CONTROLNODE;
        ASSERT_EQ(length, path.size());
        ServedNode const node(path, ControlNodeReply{5, 0, {}});
        EXPECT_EQ(5, askThrough(path)) << length << " characters";
    }
}

TEST_F(ControlNode, ALongPathLeavesNoDescriptorBehind) {
    std::string const path = deepFolder(mFolder.path(), 300) + CONTROLNODE;
    auto const server = ControlNodeServer::listen(path);
    int const before = dup(0);
    close(before);
    int const fd = openControlNode(path.c_str(), O_RDWR);
    EXPECT_NE(-1, fd);
    close(fd);
    int const after = dup(0);
    close(after);
    EXPECT_EQ(before, after);
}

TEST_F(ControlNode, AFileOfAnotherKindIsSimplyOpened) {
    mFolder.write("file", "content");
    int const fd = openControlNode(mFolder.path("file").c_str(), O_RDONLY);
    char bytes[8] = {};
    EXPECT_EQ(7, read(fd, bytes, sizeof bytes));
    EXPECT_STREQ("content", bytes);
    EXPECT_EQ(-1, write(fd, "x", 1)) << "the flags hold";
    EXPECT_TRUE(closesOnExec(fd));
    close(fd);
}

TEST_F(ControlNode, AConnectionDoesNotPassToOtherPrograms) {
    ServedNode const node(mPath);
    int const fd = openControlNode(mPath.c_str(), O_RDWR);
    EXPECT_TRUE(closesOnExec(fd));
    close(fd);
}

TEST_F(ControlNode, ALinkToASocketIsFollowed) {
    ServedNode const node(mPath, ControlNodeReply{5, 0, {}});
    std::string const link = mFolder.path("link");
    ASSERT_EQ(0, symlink(mPath.c_str(), link.c_str()));
    EXPECT_EQ(5, askThrough(link));
}

TEST_F(ControlNode, WhatIsNotThereGivesTheErrorOfOpen) {
    expectFailure(mPath.c_str(), ENOENT);
    expectFailure(nullptr, EFAULT);
    expectFailure("", ENOENT);
    expectFailure((mFolder.path() + "/" + std::string(5000, 'x')).c_str(), ENAMETOOLONG);
    mFolder.write("file", "");
    expectFailure(mFolder.path("file/control").c_str(), ENOTDIR);
}

TEST_F(ControlNode, ANodeThatNobodyServesAnyMoreRefuses) {
    int const fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    mFolder.path("left").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(0, bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address));
    close(fd);
    expectFailure(mFolder.path("left").c_str(), ECONNREFUSED);
    EXPECT_FALSE(isOpen(fd)) << "the socket of the failed attempt is closed";
}

TEST_F(ControlNode, ANameThatNoAddressHoldsIsRefused) {
    auto const server = ControlNodeServer::listen(mFolder.path("node"));
    std::string const longName(200, 'n');
    ASSERT_EQ(0, rename(mFolder.path("node").c_str(), mFolder.path(longName).c_str()));
    expectFailure(mFolder.path(longName).c_str(), ENAMETOOLONG);
}

std::atomic<int> interruptions{0};

TEST_F(ControlNode, ASignalDoesNotInterruptAWaitForTheDriver) {
    int const listener = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    mFolder.path("busy").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(0, bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address));
    ASSERT_EQ(0, listen(listener, 0));
    std::string const path = mFolder.path("busy");
    int const first = openControlNode(path.c_str(), O_RDWR);
    ASSERT_NE(-1, first) << "takes the only place in the queue";

    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = [](int) { ++interruptions; };
    sigaction(SIGUSR1, &action, &before);
    std::promise<std::pair<pid_t, pthread_t>> started;
    std::future<int> second = std::async(std::launch::async, [&] {
        started.set_value({threadId(), pthread_self()});
        return openControlNode(path.c_str(), O_RDWR);
    });
    auto const thread = started.get_future().get();
    ASSERT_TRUE(waitUntilBlocked(thread.first));
    pthread_kill(thread.second, SIGUSR1);
    int const accepted = accept(listener, nullptr, nullptr);
    int const connected = second.get();
    EXPECT_NE(-1, connected);
    EXPECT_EQ(1, interruptions.load());
    sigaction(SIGUSR1, &before, nullptr);
    for (int const fd : {listener, first, accepted, connected}) {
        close(fd);
    }
}

} // namespace
