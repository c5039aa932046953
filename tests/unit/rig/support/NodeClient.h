#pragma once

#include "platform/ControlNode.h"
#include "support/Bytes.h"

#include <cstdint>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

/** A client of a control node that speaks the bytes of the link. */
class NodeClient {
public:
    explicit NodeClient(std::string const& path) : mFd(openControlNode(path.c_str(), O_RDWR)) {}
    ~NodeClient() {
        if (mFd != -1) {
            close(mFd);
        }
    }
    NodeClient(NodeClient const&) = delete;
    NodeClient& operator=(NodeClient const&) = delete;

    bool connected() const { return mFd != -1; }

    void send(std::string const& bytes) const {
        EXPECT_EQ(static_cast<ssize_t>(bytes.size()),
                  ::send(mFd, bytes.data(), bytes.size(), MSG_NOSIGNAL));
    }

    /** Waits for so many bytes; fewer if the driver closes. */
    std::string take(std::size_t count) const {
        std::string bytes(count, '\0');
        ssize_t const got = recv(mFd, bytes.data(), count, MSG_WAITALL);
        bytes.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
        return bytes;
    }

    /** Everything until the driver closes. */
    std::string rest() const {
        std::string all;
        for (std::string more = take(1); !more.empty(); more = take(1)) {
            all += more;
        }
        return all;
    }

    /** A message and the bytes of its answer. */
    std::string message(std::string const& data, std::size_t room, std::size_t answer) const {
        send(le(1) + le(0) + le(data.size()) + le(room) + data);
        return take(answer);
    }

    std::string devctl(std::uint32_t command, std::string const& data) const {
        send(le(2) + le(command) + le(data.size()) + le(0) + data);
        return take(12);
    }

private:
    int mFd;
};

/** The bytes of a capability request. */
inline std::string const CAPABILITY_REQUEST =
    hex("13 01 08 00 13 00 32 00") + std::string(16, '\0');

constexpr std::uint32_t SEND_TAGS_COMMAND = 0x80010E84;
