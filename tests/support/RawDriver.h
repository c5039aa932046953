#pragma once

#include "support/Bytes.h"

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

/**
 * The driver's end of a connection, byte by byte: what the test writes in it goes out as it is, and
 * what came in is kept. The story runs on a thread; the connection closes where it ends.
 */
class RawDriver {
public:
    /** The driver's end, for the story. */
    class End {
    public:
        explicit End(int fd) : mFd(fd) {}

        int fd() const { return mFd; }
        std::string const& taken() const { return mTaken; }

        /** Waits for `count` bytes; fewer if the client closes. */
        std::string take(std::size_t count) {
            if (count == 0) {
                return {}; // recv() would wait all the same
            }
            std::string bytes(count, '\0');
            ssize_t const got = recv(mFd, bytes.data(), count, MSG_WAITALL);
            bytes.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
            mTaken += bytes;
            return bytes;
        }

        /** Waits for a whole request, header and data. */
        void takeRequest() {
            std::string const header = take(16);
            std::size_t count = 0;
            for (std::size_t i = 11; header.size() == 16 && i >= 8; --i) {
                count = count << 8U | static_cast<unsigned char>(header[i]);
            }
            take(count);
        }

        void give(std::string const& bytes) {
            std::size_t sent = 0;
            while (sent < bytes.size()) {
                ssize_t const count = ::send(mFd, &bytes[sent], bytes.size() - sent, MSG_NOSIGNAL);
                if (count <= 0) {
                    return;
                }
                sent += static_cast<std::size_t>(count);
            }
        }

    private:
        int mFd;
        std::string mTaken;
    };

    using Story = std::function<void(End&)>;

    explicit RawDriver(Story story) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
        mClient = ends[0];
        mThread = std::thread([this, story = std::move(story), fd = ends[1]] {
            End end(fd);
            story(end);
            mTaken = end.taken();
            close(fd);
        });
    }
    ~RawDriver() {
        close(mClient);
        if (mThread.joinable()) {
            mThread.join();
        }
    }
    RawDriver(RawDriver const&) = delete;
    RawDriver& operator=(RawDriver const&) = delete;

    /** The client's end: what openControlNode() would have returned. */
    int fd() const { return mClient; }

    /** Waits for the end of the story. @return all bytes that came in */
    std::string const& taken() {
        mThread.join();
        return mTaken;
    }

private:
    int mClient = -1;
    std::thread mThread;
    std::string mTaken;
};

/** A reply as it stands on the wire. */
inline std::string wireReply(std::int64_t status, std::int64_t info = 0,
                             std::string const& data = {}) {
    return le(static_cast<std::uint64_t>(status)) + le(static_cast<std::uint64_t>(info))
           + le(data.size()) + data;
}
