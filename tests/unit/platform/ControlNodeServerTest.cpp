#include "platform/ControlNodeServer.h"

#include "platform/ControlNode.h"
#include "support/BlockedThread.h"
#include "support/TempDir.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <future>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>

namespace {

class Server : public ::testing::Test {
protected:
    TempDir mFolder;
    std::string mPath = mFolder.path() + CONTROLNODE;
};

TEST_F(Server, MakesTheFoldersOnTheWayAndTheNode) {
    std::string const path = mFolder.path("a/b") + CONTROLNODE;
    auto const server = ControlNodeServer::listen(path);
    ASSERT_NE(nullptr, server);
    EXPECT_TRUE(std::filesystem::is_socket(path));
}

TEST_F(Server, TakesTheNodeAwayAtItsEnd) {
    ControlNodeServer::listen(mPath).reset();
    EXPECT_FALSE(std::filesystem::exists(mPath));
    EXPECT_NE(nullptr, ControlNodeServer::listen(mPath)) << "and it can be made again";
}

TEST_F(Server, RefusesAPathThatIsServed) {
    auto const first = ControlNodeServer::listen(mPath);
    EXPECT_EQ(nullptr, ControlNodeServer::listen(mPath));
    EXPECT_EQ(EADDRINUSE, errno);
    EXPECT_TRUE(std::filesystem::is_socket(mPath));
}

TEST_F(Server, ReplacesANodeWhoseServerHasDied) {
    int const fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    mFolder.path("node").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(0, bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address));
    close(fd);
    auto const server = ControlNodeServer::listen(mFolder.path("node"));
    ASSERT_NE(nullptr, server);
    int const client = openControlNode(mFolder.path("node").c_str(), O_RDWR);
    EXPECT_NE(-1, client);
    close(client);
}

TEST_F(Server, LetsEveryUserConnect) {
    auto const server = ControlNodeServer::listen(mPath);
    ASSERT_NE(nullptr, server);
    EXPECT_EQ(std::filesystem::perms(0666), std::filesystem::status(mPath).permissions());
}

TEST_F(Server, LeavesAFileOfAnotherKindAlone) {
    mFolder.write("file", "content");
    EXPECT_EQ(nullptr, ControlNodeServer::listen(mFolder.path("file")));
    EXPECT_EQ(EADDRINUSE, errno);
    EXPECT_EQ("content", mFolder.read("file"));
}

TEST_F(Server, FailsWhereNoFolderCanBeMade) {
    mFolder.write("file", "");
    EXPECT_EQ(nullptr, ControlNodeServer::listen(mFolder.path("file") + CONTROLNODE));
    EXPECT_EQ(ENOTDIR, errno);
}

TEST_F(Server, FailsForANameThatNoAddressHolds) {
    EXPECT_EQ(nullptr, ControlNodeServer::listen(mFolder.path(std::string(200, 'n'))));
    EXPECT_EQ(ENAMETOOLONG, errno);
}

TEST_F(Server, AHangUpEndsTheWaitForAClient) {
    auto const server = ControlNodeServer::listen(mPath);
    std::promise<pid_t> started;
    auto accepted = std::async(std::launch::async, [&] {
        started.set_value(threadId());
        return server->accept() == nullptr;
    });
    ASSERT_TRUE(waitUntilBlocked(started.get_future().get()));
    server->hangUp();
    EXPECT_TRUE(accepted.get());
}

} // namespace
