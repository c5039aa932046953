#include "LinkSeams.h"

#include "service/stdTools.h"

#include <optional>
#include <stdexcept>
#include <utility>

namespace {

struct Fault {
    std::string beginning;
    std::function<void()> action;
};

std::optional<std::time_t> fixedTime;
bool libraryCheckFails = false;
std::optional<Fault> logFault;

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

FailingLibraryCheck::FailingLibraryCheck() {
    libraryCheckFails = true;
}
FailingLibraryCheck::~FailingLibraryCheck() {
    libraryCheckFails = false;
}

LogFault::LogFault(std::string beginning, std::function<void()> action) {
    logFault = Fault{std::move(beginning), std::move(action)};
}
LogFault::~LogFault() {
    logFault.reset();
}

extern "C" {

std::time_t __real_time(std::time_t* result);
std::time_t __wrap_time(std::time_t* result);
void __real_xmlCheckVersion(int version);
void __wrap_xmlCheckVersion(int version);
// stdTools::Output under the linker's names.
void realOutput(
    stdTools const* self, std::string source, std::string message,
    stdTools::ErrorLevel level) __asm__("__real__ZNK8stdTools6OutputENSt7__cxx1112basic_"
                                        "stringIcSt11char_traitsIcESaIcEEES5_NS_10ErrorLevelE");
void wrappedOutput(
    stdTools const* self, std::string source, std::string message,
    stdTools::ErrorLevel level) __asm__("__wrap__ZNK8stdTools6OutputENSt7__cxx1112basic_"
                                        "stringIcSt11char_traitsIcESaIcEEES5_NS_10ErrorLevelE");

std::time_t __wrap_time(std::time_t* result) {
    if (!fixedTime) {
        return __real_time(result);
    }
    if (result != nullptr) {
        *result = *fixedTime;
    }
    return *fixedTime;
}

void __wrap_xmlCheckVersion(int version) {
    if (libraryCheckFails) {
        throw std::runtime_error("the library is not the one");
    }
    __real_xmlCheckVersion(version);
}

void wrappedOutput(stdTools const* self, std::string source, std::string message,
                   stdTools::ErrorLevel level) {
    if (logFault && message.compare(0, logFault->beginning.size(), logFault->beginning) == 0) {
        std::function<void()> const action = std::move(logFault->action);
        logFault.reset();
        action();
        return;
    }
    realOutput(self, std::move(source), std::move(message), level);
}
}
