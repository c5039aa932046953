#pragma once

#include <ctime>

/**
 * While it lives, time() gives one moment.
 *
 * For programs that use the target fixed_clock, which leads their time() through the linker to a
 * stand-in; without a FixedClock that is the real one.
 */
class FixedClock {
public:
    explicit FixedClock(std::time_t now);
    /** A moment of local time. */
    FixedClock(int year, int month, int day, int hour);
    ~FixedClock();
    FixedClock(FixedClock const&) = delete;
    FixedClock& operator=(FixedClock const&) = delete;
};
