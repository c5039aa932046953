#include "platform/DriverDeadline.h"

#include "platform/posix/Deadline.h"
#include "platform/posix/SystemCall.h"

#include <algorithm>
#include <optional>
#include <poll.h>

namespace {

using Clock = std::chrono::steady_clock;

thread_local std::optional<Clock::time_point> deadline;

} // namespace

DriverDeadline::DriverDeadline(std::chrono::milliseconds time) {
    deadline = Clock::now() + time;
}

DriverDeadline::~DriverDeadline() {
    deadline.reset();
}

bool hasDriverDeadline() {
    return deadline.has_value();
}

std::chrono::milliseconds driverTimeLeft() {
    auto const left =
        std::chrono::duration_cast<std::chrono::milliseconds>(*deadline - Clock::now());
    return std::max(left, std::chrono::milliseconds(0));
}

int waitWithinDeadline(int fd, short events) {
    if (!hasDriverDeadline()) {
        return 0;
    }
    pollfd entry{fd, events, 0};
    int const ready =
        uninterrupted([&] { return poll(&entry, 1, static_cast<int>(driverTimeLeft().count())); });
    return ready == -1 ? errno : ready == 0 ? ETIMEDOUT : 0;
}
