#include "support/FixedClock.h"

#include <optional>

namespace {

std::optional<std::time_t> fixedTime;

std::time_t localTime(int year, int month, int day, int hour) {
    std::tm local{};
    local.tm_year = year - 1900;
    local.tm_mon = month - 1;
    local.tm_mday = day;
    local.tm_hour = hour;
    local.tm_isdst = -1;
    return std::mktime(&local);
}

} // namespace

FixedClock::FixedClock(std::time_t now) {
    fixedTime = now;
}
FixedClock::FixedClock(int year, int month, int day, int hour)
    : FixedClock(localTime(year, month, day, hour)) {}
FixedClock::~FixedClock() {
    fixedTime.reset();
}

extern "C" {

std::time_t __real_time(std::time_t* result);
std::time_t __wrap_time(std::time_t* result);

std::time_t __wrap_time(std::time_t* result) {
    if (!fixedTime) {
        return __real_time(result);
    }
    if (result != nullptr) {
        *result = *fixedTime;
    }
    return *fixedTime;
}
}
