#pragma once

#include <ctime>
#include <functional>
#include <string>

// Three calls of the folder lead through the linker to stand-ins (see CMakeLists.txt), so that a
// test can set the clock and make fail what does not fail by itself. Each stand-in calls the real
// thing unless one of the objects below says otherwise.

/** While it lives, time() gives one moment. */
class FixedClock {
public:
    explicit FixedClock(std::time_t now);
    /** A moment of local time. */
    FixedClock(int year, int month, int day, int hour);
    ~FixedClock();
    FixedClock(FixedClock const&) = delete;
    FixedClock& operator=(FixedClock const&) = delete;
};

/** While it lives, the version check of libxml2 throws. */
class FailingLibraryCheck {
public:
    FailingLibraryCheck();
    ~FailingLibraryCheck();
    FailingLibraryCheck(FailingLibraryCheck const&) = delete;
    FailingLibraryCheck& operator=(FailingLibraryCheck const&) = delete;
};

/** While it lives, logging a line that begins with a text runs an action instead, once. */
class LogFault {
public:
    LogFault(std::string beginning, std::function<void()> action);
    ~LogFault();
    LogFault(LogFault const&) = delete;
    LogFault& operator=(LogFault const&) = delete;
};
