#pragma once

#include <chrono>

namespace tellbus {

/** The clock of all deadlines; it counts as CLOCK_MONOTONIC does. */
using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;

/** Longer than a bus that works ever takes, for what blocks its caller. */
constexpr std::chrono::seconds ANSWER_LIMIT{10};

inline TimePoint answerDeadline() {
    return Clock::now() + ANSWER_LIMIT;
}

/** Milliseconds left until a deadline, rounded up, 0 once it has passed; fit for poll(). */
inline int millisecondsUntil(TimePoint deadline) {
    auto const left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

} // namespace tellbus
