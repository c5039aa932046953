#pragma once

#include <atomic>

namespace tellbus {

#ifdef TELLBUS_HAND_OVER_HOOK

/** What runs at each place where work passes from one thread to another. */
using HandOverHook = void (*)();

/** A test sets one to stretch the moments between two threads. */
inline std::atomic<HandOverHook> handOverHook{nullptr};

inline void handOver() {
    if (HandOverHook const hook = handOverHook.load(std::memory_order_relaxed)) {
        hook();
    }
}

#else

/** Nothing in what programs link; tests have the library built with a hook here. */
inline void handOver() {}

#endif

} // namespace tellbus
