#pragma once

#include "tellbus/Clock.h"
#include "tellbus/EventLoop.h"

#include <memory>
#include <optional>

namespace tellbus {

/**
 * One moment at which the loop calls a handler.
 *
 * Setting it from any thread wakes nobody: the kernel holds the moment. Calls must be serialised by
 * the owner.
 */
class Timer {
public:
    /** @throws std::system_error without descriptors */
    Timer(std::shared_ptr<EventLoop> loop, EventLoop::Task onTime);
    ~Timer();
    Timer(Timer const&) = delete;
    Timer& operator=(Timer const&) = delete;

    /** Sets the moment, or none. Costs a system call only if that is a change. */
    void set(std::optional<TimePoint> moment);

    /** Moves the moment forward if it is later than this or not set. */
    void notLaterThan(TimePoint moment);

    /** To be called by the handler: the moment is over. */
    void expired();

private:
    std::shared_ptr<EventLoop> mLoop;
    int mFd;
    std::uint64_t mId;
    std::optional<TimePoint> mMoment;
};

} // namespace tellbus
