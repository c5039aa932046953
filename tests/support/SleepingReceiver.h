#pragma once

#include "platform/neutrino.h"
#include "support/BlockedThread.h"

#include <future>
#include <gtest/gtest.h>
#include <sys/resource.h>

/** A thread that receives one pulse of a channel, and sleeps by now. */
class SleepingReceiver {
public:
    /** @param connection to the channel; gets a pulse at the end if nobody asks for one */
    SleepingReceiver(int channel, int connection) : mConnection(connection) {
        std::promise<Started> started;
        mReceived = std::async(std::launch::async, [channel, &started] {
            started.set_value({threadId(), ownSleeps()});
            Received received{};
            received.status = MsgReceivePulse(channel, &received.pulse, sizeof(_pulse), nullptr);
            received.sleeps = ownSleeps();
            return received;
        });
        auto const [thread, before] = started.get_future().get();
        mThread = thread;
        // A thread is seen to sleep before that is counted.
        EXPECT_TRUE(waitUntil([&, &earlier = before] {
            return isBlocked(mThread) && timesGoneToSleep(mThread) > earlier;
        }));
        mSleeps = timesGoneToSleep(mThread);
    }
    ~SleepingReceiver() {
        if (mReceived.valid()) {
            MsgSendPulse(mConnection, -1, 0, 0);
        }
    }
    SleepingReceiver(SleepingReceiver const&) = delete;
    SleepingReceiver& operator=(SleepingReceiver const&) = delete;

    pid_t thread() const { return mThread; }

    /** Waits until it has woken and sleeps again, LONGEST_WAIT at most. */
    bool sleepsAgain() const {
        return waitUntil([this] { return timesGoneToSleep(mThread) > mSleeps; });
    }

    /** What came; asked for once. */
    _pulse pulse() {
        Received const received = mReceived.get();
        EXPECT_EQ(0, received.status);
        mSleptAgain = received.sleeps > mSleeps;
        return received.pulse;
    }

    /** Whether it had slept again before its pulse, which has been asked for. */
    bool hasSleptAgain() const { return mSleptAgain; }

private:
    struct Started {
        pid_t thread;
        long sleeps;
    };
    struct Received {
        int status;
        _pulse pulse;
        long sleeps;
    };

    static long ownSleeps() {
        rusage usage{};
        getrusage(RUSAGE_THREAD, &usage);
        return usage.ru_nvcsw;
    }

    int mConnection;
    std::future<Received> mReceived;
    pid_t mThread = 0;
    long mSleeps = 0;
    bool mSleptAgain = false;
};
