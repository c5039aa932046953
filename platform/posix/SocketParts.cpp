#include "platform/posix/SocketParts.h"

#include "platform/posix/Deadline.h"
#include "platform/posix/SystemCall.h"

#include <algorithm>
#include <climits>
#include <poll.h>
#include <sys/socket.h>

namespace {

/** All the ways in which the system says that the other end has gone. */
bool tellsOfLoss(int error) {
    return error == EPIPE || error == ECONNRESET || error == ENOTCONN;
}

} // namespace

void SocketParts::add(void const* address, std::size_t length) {
    if (length > 0) {
        mParts.push_back({const_cast<void*>(address), length});
        mSize += length;
    }
}

void SocketParts::addFront(void const* address, std::size_t length) {
    mParts.insert(mParts.begin(), {const_cast<void*>(address), length});
    mSize += length;
}

void SocketParts::trim(std::size_t size) {
    while (mSize > size) {
        iovec& last = mParts.back();
        std::size_t const excess = std::min(mSize - size, last.iov_len);
        mSize -= excess;
        last.iov_len -= excess;
        if (last.iov_len == 0) {
            mParts.pop_back();
        }
    }
}

int SocketParts::sendTo(int fd) {
    return moveAll(fd, POLLOUT, [fd](msghdr& message, int flags) {
        return sendmsg(fd, &message, MSG_NOSIGNAL | flags);
    });
}

int SocketParts::receiveFrom(int fd) {
    return moveAll(fd, POLLIN,
                   [fd](msghdr& message, int flags) { return recvmsg(fd, &message, flags); });
}

template <class Call>
int SocketParts::moveAll(int fd, short events, Call call) {
    // Within a deadline it is poll() that waits, and the call itself never does.
    int const flags = hasDriverDeadline() ? MSG_DONTWAIT : 0;
    while (mSize > 0) {
        int const error = waitWithinDeadline(fd, events);
        if (error != 0) {
            return error;
        }
        msghdr message{};
        message.msg_iov = &mParts[mFirst];
        message.msg_iovlen = std::min<std::size_t>(mParts.size() - mFirst, IOV_MAX);
        ssize_t const moved = uninterrupted([&] { return call(message, flags); });
        if (moved == 0) {
            return EIO;
        }
        if (moved == -1 && flags != 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            continue;
        }
        if (moved == -1) {
            return tellsOfLoss(errno) ? EIO : errno;
        }
        drop(static_cast<std::size_t>(moved));
    }
    return 0;
}

void SocketParts::drop(std::size_t count) {
    mSize -= count;
    while (count > 0) {
        iovec& first = mParts[mFirst];
        std::size_t const taken = std::min(count, first.iov_len);
        first.iov_base = static_cast<char*>(first.iov_base) + taken;
        first.iov_len -= taken;
        count -= taken;
        mFirst += first.iov_len == 0 ? 1 : 0;
    }
}
