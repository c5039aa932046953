#include "platform/WakeAhead.h"

#include "platform/neutrino.h"
#include "platform/posix/Processors.h"
#include "support/SleepingReceiver.h"

#include <climits>
#include <cstdlib>
#include <future>
#include <gtest/gtest.h>
#include <sched.h>
#include <thread>
#include <vector>

namespace {

class WakeAhead : public ::testing::Test {
protected:
    void send(int code, int priority = -1) {
        ASSERT_EQ(0, MsgSendPulse(mConnection, priority, code, 0));
    }

    int receive() const {
        _pulse pulse{};
        EXPECT_EQ(0, MsgReceivePulse(mChannel, &pulse, sizeof pulse, nullptr));
        return pulse.code;
    }

    int mChannel = ChannelCreate(_NTO_CHF_FIXED_PRIORITY);
    int mConnection = ConnectAttach(0, 0, mChannel, _NTO_SIDE_CHANNEL, 0);
};

TEST_F(WakeAhead, WakesAReceiverWhichSleepsAgainUntilThePulse) {
    if (usableProcessors() == 1) {
        GTEST_SKIP() << "one processor";
    }
    SleepingReceiver receiver(mChannel, mConnection);
    wakeAhead(mConnection);
    EXPECT_TRUE(receiver.sleepsAgain());
    send(5);
    EXPECT_EQ(5, receiver.pulse().code);
}

TEST_F(WakeAhead, OfNoPulseLeavesAReceiverThatSleeps) {
    SleepingReceiver receiver(mChannel, mConnection);
    for (int i = 0; i < 1000; ++i) {
        wakeAhead(mConnection);
    }
    EXPECT_TRUE(waitUntilBlocked(receiver.thread()));
    send(5);
    EXPECT_EQ(5, receiver.pulse().code);
}

TEST_F(WakeAhead, WakesNobodyElsewhereNorForNoConnection) {
    if (usableProcessors() == 1) {
        GTEST_SKIP() << "one processor";
    }
    int const channel = ChannelCreate(0);
    int const connection = ConnectAttach(0, 0, channel, _NTO_SIDE_CHANNEL, 0);
    SleepingReceiver elsewhere(mChannel, mConnection);
    SleepingReceiver woken(channel, connection);
    for (int const nothing : {-1, 0, INT_MAX}) {
        wakeAhead(nothing);
    }
    wakeAhead(connection);
    EXPECT_TRUE(woken.sleepsAgain());
    EXPECT_TRUE(waitUntilBlocked(elsewhere.thread()));
    send(5);
    EXPECT_EQ(5, elsewhere.pulse().code);
    EXPECT_FALSE(elsewhere.hasSleptAgain());
}

TEST_F(WakeAhead, LeavesTheOrderOfPulsesAsItIs) {
    int const lowest = sched_get_priority_min(SCHED_RR);
    {
        SleepingReceiver receiver(mChannel, mConnection);
        wakeAhead(mConnection);
        send(9);
        EXPECT_EQ(9, receiver.pulse().code) << "which may have left a wake-up behind";
    }
    send(1, lowest);
    send(2, lowest);
    send(3, lowest + 1);
    EXPECT_EQ(3, receive());
    EXPECT_EQ(1, receive());
    EXPECT_EQ(2, receive());
}

TEST_F(WakeAhead, LosesNoPulseOfSeveralSendersAndReceivers) {
    constexpr int THREADS = 3;
    constexpr int PULSES = 3000;
    constexpr int LAST = 0;
    std::vector<std::future<int>> receivers;
    for (int i = 0; i < THREADS; ++i) {
        receivers.push_back(std::async(std::launch::async, [this] {
            int received = 0;
            while (receive() != LAST) {
                ++received;
            }
            return received;
        }));
    }
    std::vector<std::thread> senders;
    for (int i = 0; i < THREADS; ++i) {
        senders.emplace_back([this] {
            for (int pulse = 0; pulse < PULSES; ++pulse) {
                wakeAhead(mConnection);
                send(1);
            }
        });
    }
    for (auto& sender : senders) {
        sender.join();
    }
    for (int i = 0; i < THREADS; ++i) {
        send(LAST);
    }
    int received = 0;
    for (auto& receiver : receivers) {
        received += receiver.get();
    }
    EXPECT_EQ(THREADS * PULSES, received);
}

/** Exits with 0 if the receiver was not woken before its pulse. */
[[noreturn]] void sendAPulseOnOneProcessor() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<std::size_t>(sched_getcpu()), &one);
    if (sched_setaffinity(0, sizeof one, &one) != 0) {
        std::_Exit(2);
    }
    int const channel = ChannelCreate(0);
    int const connection = ConnectAttach(0, 0, channel, _NTO_SIDE_CHANNEL, 0);
    SleepingReceiver receiver(channel, connection);
    wakeAhead(connection);
    // The receiver runs now if it has been woken, and sleeps again.
    for (int i = 0; i < 1000; ++i) {
        std::this_thread::yield();
    }
    MsgSendPulse(connection, -1, 5, 0);
    bool const received = receiver.pulse().code == 5 && !testing::Test::HasFailure();
    std::_Exit(received && !receiver.hasSleptAgain() ? 0 : 1);
}

TEST(WakeAheadDeathTest, WakesNobodyOnOneProcessor) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(sendAPulseOnOneProcessor(), ::testing::ExitedWithCode(0), "");
}

} // namespace
