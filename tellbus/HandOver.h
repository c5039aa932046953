#pragma once

#include <atomic>

namespace tellbus {

/** What runs at each place where work passes from one thread to another. */
using HandOverHook = void (*)();

/** Null in every program; a test sets one to stretch the moments between two threads. */
inline std::atomic<HandOverHook> handOverHook{nullptr};

inline void handOver() {
    if (HandOverHook const hook = handOverHook.load(std::memory_order_relaxed)) {
        hook();
    }
}

} // namespace tellbus
