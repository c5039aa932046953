#include "tellbus/EventLoop.h"
#include "tellbus/Answer.h"
#include "tellbus/Timer.h"

#include "Inbox.h"

#include "support/BlockedThread.h"

#include <csignal>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/epoll.h>
#include <unistd.h>

using namespace tellbus;

namespace {

TimePoint soonEnough() {
    return Clock::now() + PATIENCE;
}

} // namespace

class EventLoopTest : public ::testing::Test {
protected:
    ~EventLoopTest() override { loop->stop(soonEnough()); }
    std::shared_ptr<EventLoop> const loop = EventLoop::start();
};

TEST_F(EventLoopTest, RunsTasksInTheirOrderOnItsThread) {
    Inbox<int> order;
    for (int index = 0; index < 1000; ++index) {
        loop->post([&, index] { order.put(loop->onThread() ? index : -1); });
    }
    for (int index = 0; index < 1000; ++index) {
        EXPECT_EQ(order.next(), index);
    }
    EXPECT_FALSE(loop->onThread());
}

TEST_F(EventLoopTest, RunsATaskToItsEndBeforeRunReturns) {
    bool done = false;
    EXPECT_TRUE(loop->run([&] { done = true; }, soonEnough()));
    EXPECT_TRUE(done);
}

TEST_F(EventLoopTest, RunsATaskAtOnceIfAskedOnItsThread) {
    bool nested = false;
    EXPECT_TRUE(loop->run([&] { loop->run([&] { nested = true; }, Clock::now()); }, soonEnough()));
    EXPECT_TRUE(nested);
}

TEST_F(EventLoopTest, GivesUpWaitingAtTheDeadline) {
    Answer<bool> release;
    loop->post([&] { release.waitUntil(soonEnough()); });
    EXPECT_FALSE(loop->run([] {}, Clock::now()));
    release.set(true);
    EXPECT_TRUE(loop->run([] {}, soonEnough()));
}

TEST_F(EventLoopTest, SurvivesWhatATaskThrows) {
    testing::internal::CaptureStderr();
    loop->post([] { throw std::runtime_error("careless"); });
    loop->post([] { throw 5; });
    EXPECT_TRUE(loop->run([] {}, soonEnough()));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                ::testing::HasSubstr("libtellbus: caught an exception: careless"));
}

TEST_F(EventLoopTest, GivesEventsOfADescriptorToItsHandlerUntilUnwatched) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    Inbox<std::uint32_t> events;
    auto const id = loop->attach([&](std::uint32_t what) {
        loop->unwatch(ends[0]);
        events.put(what);
    });
    loop->watch(ends[0], EPOLLIN, id);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    EXPECT_EQ(events.next(), static_cast<std::uint32_t>(EPOLLIN));
    loop->detach(id);
    loop->watch(ends[0], EPOLLIN | EPOLLONESHOT, id);
    EXPECT_TRUE(loop->run([] {}, soonEnough()));
    EXPECT_EQ(events.arrived(), 1U);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(EventLoopTest, LeavesTheApplicationsSignalsAlone) {
    Inbox<bool> blocked;
    loop->post([&] {
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        blocked.put(sigismember(&mask, SIGTERM) == 1 && sigismember(&mask, SIGUSR1) == 1);
    });
    EXPECT_TRUE(blocked.next());
    sigset_t own;
    pthread_sigmask(SIG_SETMASK, nullptr, &own);
    EXPECT_EQ(sigismember(&own, SIGTERM), 0);
}

TEST_F(EventLoopTest, StopsInATaskOfItsOwn) {
    auto const other = EventLoop::start();
    Inbox<bool> stopped;
    other->post([&] { stopped.put(other->stop(soonEnough())); });
    EXPECT_FALSE(stopped.next());
}

TEST_F(EventLoopTest, RunsTheTasksThatWaitWhenItStopsInATaskOfItsOwn) {
    auto const other = EventLoop::start();
    Inbox<bool> ran;
    other->post([&] {
        other->post([&] { ran.put(true); });
        other->stop(soonEnough());
    });
    EXPECT_TRUE(ran.next());
    EXPECT_TRUE(other->awaitStop(soonEnough()));
    EXPECT_TRUE(other->hasStopped());
}

TEST_F(EventLoopTest, DropsTasksOnceItHasStopped) {
    auto task = std::make_shared<bool>(false);
    std::weak_ptr<bool> const kept = task;
    EXPECT_FALSE(loop->hasStopped());
    EXPECT_TRUE(loop->stop(soonEnough()));
    loop->post([task = std::move(task)] { *task = true; });
    EXPECT_TRUE(kept.expired());
    EXPECT_FALSE(loop->run([] {}, TimePoint::max()));
    EXPECT_TRUE(loop->hasStopped());
}

TEST_F(EventLoopTest, DropsTheTasksThatWaitWhenItIsAborted) {
    Inbox<bool> begun;
    std::promise<void> go;
    loop->post([&] {
        begun.put(true);
        go.get_future().wait();
    });
    begun.next();
    bool ran = false;
    auto waiting = std::async(std::launch::async,
                              [&] { return loop->run([&] { ran = true; }, soonEnough()); });
    auto aborting = std::async(std::launch::async, [&] { return loop->abort(soonEnough()); });
    EXPECT_TRUE(waitUntil([&] { return loop->isAborted(); }));
    go.set_value();
    EXPECT_TRUE(aborting.get());
    EXPECT_FALSE(waiting.get());
    EXPECT_FALSE(ran);
}

class TimerTest : public EventLoopTest {
protected:
    Inbox<bool> rings;
    Inbox<bool> others; // of a second timer; outlives the loop, whose last ring may come late
    Timer* timer = nullptr;
    std::mutex mutex;
    std::unique_ptr<Timer> const owned = std::make_unique<Timer>(loop, [this] {
        {
            std::lock_guard const lock(mutex);
            timer->expired();
        }
        rings.put(true);
    });

    TimerTest() { timer = owned.get(); }
    ~TimerTest() override { loop->stop(soonEnough()); }
};

TEST_F(TimerTest, RingsOnceAtItsMoment) {
    TimePoint const moment = Clock::now() + std::chrono::milliseconds(20);
    {
        std::lock_guard const lock(mutex);
        timer->set(moment);
    }
    EXPECT_TRUE(rings.next());
    EXPECT_GE(Clock::now(), moment);
    EXPECT_TRUE(loop->run([] {}, soonEnough()));
    EXPECT_EQ(rings.arrived(), 1U);
}

TEST_F(TimerTest, RingsForAMomentThatHasPassed) {
    {
        std::lock_guard const lock(mutex);
        timer->set(Clock::now() - std::chrono::seconds(1));
    }
    EXPECT_TRUE(rings.next());
}

TEST_F(TimerTest, TakesTheEarlierOfTwoMoments) {
    {
        std::lock_guard const lock(mutex);
        timer->notLaterThan(Clock::now() + std::chrono::hours(1));
        timer->notLaterThan(Clock::now() + std::chrono::milliseconds(10));
        timer->notLaterThan(Clock::now() + std::chrono::hours(2));
    }
    EXPECT_TRUE(rings.next());
}

TEST_F(TimerTest, CanBeTakenBack) {
    Timer second(loop, [this] { others.put(true); });
    // The loop looks at its timers only when this one is taken back, however late that is.
    Inbox<bool> held;
    Answer<bool> release;
    loop->post([&] {
        held.put(true);
        release.waitUntil(soonEnough());
    });
    held.next();
    {
        std::lock_guard const lock(mutex);
        timer->set(Clock::now() + std::chrono::milliseconds(10));
        timer->set(std::nullopt);
    }
    release.set(true);
    second.set(Clock::now() + std::chrono::milliseconds(30));
    EXPECT_TRUE(others.next());
    second.set(std::nullopt);
    EXPECT_EQ(rings.arrived(), 0U);
}
