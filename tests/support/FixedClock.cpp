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

// SONGLATCH_TIME is what the linker calls time(), which differs where it has another width.
extern "C" {

std::time_t realTime(std::time_t* result) __asm__("__real_" SONGLATCH_TIME);
std::time_t wrappedTime(std::time_t* result) __asm__("__wrap_" SONGLATCH_TIME);

std::time_t wrappedTime(std::time_t* result) {
    if (!fixedTime) {
        return realTime(result);
    }
    if (result != nullptr) {
        *result = *fixedTime;
    }
    return *fixedTime;
}
}
