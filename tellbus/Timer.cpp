#include "tellbus/Timer.h"

#include <cerrno>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tellbus {

namespace {

/** All zero, which disarms, if there is no moment. */
itimerspec absolute(std::optional<TimePoint> moment) {
    itimerspec spec{};
    if (moment) {
        auto const whole = std::chrono::floor<std::chrono::seconds>(moment->time_since_epoch());
        auto const rest = moment->time_since_epoch() - whole;
        spec.it_value.tv_sec = static_cast<time_t>(whole.count());
        spec.it_value.tv_nsec = static_cast<long>(std::chrono::nanoseconds(rest).count());
    }
    return spec;
}

} // namespace

Timer::Timer(std::shared_ptr<EventLoop> loop, EventLoop::Task onTime)
    : mLoop(std::move(loop)), mFd(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)),
      mId(0) {
    if (mFd == -1) {
        throw std::system_error(errno, std::generic_category());
    }
    mId = mLoop->attach([onTime = std::move(onTime)](std::uint32_t) { onTime(); });
    mLoop->watch(mFd, EPOLLIN, mId);
}

Timer::~Timer() {
    mLoop->unwatch(mFd);
    mLoop->detach(mId);
    close(mFd);
}

void Timer::set(std::optional<TimePoint> moment) {
    if (mMoment == moment) {
        return;
    }
    mMoment = moment;
    itimerspec const spec = absolute(moment);
    timerfd_settime(mFd, TFD_TIMER_ABSTIME, &spec, nullptr);
}

void Timer::notLaterThan(TimePoint moment) {
    if (!mMoment || moment < *mMoment) {
        set(moment);
    }
}

void Timer::expired() {
    std::uint64_t count = 0;
    if (read(mFd, &count, sizeof count) == sizeof count) {
        mMoment.reset();
    }
}

} // namespace tellbus
