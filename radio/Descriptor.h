#pragma once

#include <unistd.h>
#include <utility>

/** Owns a file descriptor; -1 stands for none. */
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) : mDescriptor(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : mDescriptor(std::exchange(other.mDescriptor, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(mDescriptor, other.mDescriptor);
        return *this;
    }
    ~Descriptor() {
        if (mDescriptor != -1) {
            close(mDescriptor);
        }
    }

    int get() const { return mDescriptor; }

private:
    int mDescriptor = -1;
};
