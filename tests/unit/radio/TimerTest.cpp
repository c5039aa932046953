#include "radio/Timer.h"

#include "radio/PlainLoop.h"

#include <gtest/gtest.h>

using std::chrono::milliseconds;

namespace {

struct Ticking {
    PlainLoop loop;
    int expired = 0;
    Timer timer{[this] {
        ++expired;
        loop.end();
    }};
};

} // namespace

TEST(Timer, ExpiresOnce) {
    Ticking ticking;
    auto const begin = std::chrono::steady_clock::now();
    ticking.timer.start(milliseconds(20));
    ticking.loop.add(ticking.timer);
    ticking.loop.run();
    EXPECT_EQ(ticking.expired, 1);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(20));
    ticking.timer.ready();
    EXPECT_EQ(ticking.expired, 1);
}

TEST(Timer, WhenStoppedItDoesNotExpire) {
    Ticking ticking;
    Timer later([&] { ticking.loop.end(); });
    ticking.timer.start(milliseconds(1));
    ticking.timer.stop();
    later.start(milliseconds(50));
    ticking.loop.add(ticking.timer);
    ticking.loop.add(later);
    ticking.loop.run();
    EXPECT_EQ(ticking.expired, 0);
}

TEST(Timer, WhenStartedAgainItBeginsAnew) {
    Ticking ticking;
    auto const begin = std::chrono::steady_clock::now();
    ticking.timer.start(milliseconds(1));
    ticking.timer.start(milliseconds(1100));
    ticking.loop.add(ticking.timer);
    ticking.loop.run();
    EXPECT_EQ(ticking.expired, 1);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(1100));
}
