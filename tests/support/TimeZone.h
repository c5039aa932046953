#pragma once

#include <cstdlib>
#include <ctime>
#include <string>

/** A time zone of the test's own. */
class TimeZone {
public:
    explicit TimeZone(char const* zone) {
        if (char const* const before = std::getenv("TZ")) {
            mBefore = before;
            mWasSet = true;
        }
        setenv("TZ", zone, 1);
        tzset();
    }
    ~TimeZone() {
        if (mWasSet) {
            setenv("TZ", mBefore.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }
    TimeZone(TimeZone const&) = delete;
    TimeZone& operator=(TimeZone const&) = delete;

private:
    std::string mBefore;
    bool mWasSet = false;
};
