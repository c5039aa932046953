#pragma once

#include <cstddef>
#include <sys/uio.h>
#include <vector>

/** Buffers that one message is gathered from or scattered over, in order. */
class SocketParts {
public:
    /** Adds a buffer at the end. It is the caller's and stays until the last byte has moved. */
    void add(void const* address, std::size_t length);
    /** Adds a buffer in front of all others. */
    void addFront(void const* address, std::size_t length);

    /** Bytes of all buffers together. */
    std::size_t size() const { return mSize; }

    /** Forgets what lies behind the first `size` bytes. */
    void trim(std::size_t size);

    /**
     * Sends or receives all bytes, however many calls it takes, and empties the list. Never a
     * signal. @return 0 or an errno value: EIO if the other end has gone
     */
    int sendTo(int fd);
    int receiveFrom(int fd);

private:
    template <class Call>
    int moveAll(int fd, short events, Call call);
    void drop(std::size_t count);

    std::vector<iovec> mParts;
    std::size_t mFirst = 0;
    std::size_t mSize = 0;
};
