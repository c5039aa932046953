#include "radio/Timer.h"

#include <cerrno>
#include <cstdint>
#include <sys/timerfd.h>
#include <system_error>
#include <unistd.h>

Timer::Timer(std::function<void()> onExpiry)
    : mOnExpiry(std::move(onExpiry)),
      mDescriptor(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
    if (mDescriptor.get() == -1) {
        throw std::system_error(errno, std::generic_category(), "timerfd_create");
    }
}

void Timer::start(std::chrono::milliseconds delay) {
    set(delay);
}

void Timer::stop() {
    set(std::chrono::nanoseconds::zero());
}

void Timer::set(std::chrono::nanoseconds delay) {
    auto const seconds = std::chrono::duration_cast<std::chrono::seconds>(delay);
    itimerspec time{};
    time.it_value.tv_sec = seconds.count();
    time.it_value.tv_nsec = (delay - seconds).count();
    timerfd_settime(mDescriptor.get(), 0, &time, nullptr);
}

void Timer::ready() {
    std::uint64_t expiries = 0;
    // Nothing to read: it was stopped or started again after it had become readable.
    if (read(mDescriptor.get(), &expiries, sizeof expiries) == sizeof expiries) {
        mOnExpiry();
    }
}
