#pragma once

#include <cerrno>

/** The way a failed call returns: -1, and why in errno. */
inline int failWith(int error) {
    errno = error;
    return -1;
}

/** Repeats a call as long as a signal interrupts it. */
template <class Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}
