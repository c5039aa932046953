#pragma once

#include <unistd.h>
#include <utility>

/** Owns an open descriptor, -1 for none. */
class Descriptor {
public:
    explicit Descriptor(int fd = -1) : mFd(fd) {}
    Descriptor(Descriptor&& other) noexcept : mFd(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(mFd, other.mFd);
        return *this;
    }
    ~Descriptor() {
        if (mFd != -1) {
            close(mFd);
        }
    }

    int get() const { return mFd; }
    int release() { return std::exchange(mFd, -1); }

private:
    int mFd;
};
