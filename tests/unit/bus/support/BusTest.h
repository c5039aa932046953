#pragma once

#include "ChannelHooks.h"
#include "FakeTellbus.h"
#include "FreeWatch.h"
#include "bus/CTellbusEventRouter.h"
#include "bus/CTellbusRouterHold.h"
#include "platform/neutrino.h"

#include <cstdio>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <sched.h>
#include <string>
#include <unistd.h>

/** What a piece of code prints on standard output. */
inline std::string printedBy(std::function<void()> const& code) {
    testing::internal::CaptureStdout();
    code();
    return testing::internal::GetCapturedStdout();
}

/** The code must end the process with status 0, having printed exactly what matches. */
inline void expectEndOfProcess(std::function<void()> const& code,
                               testing::Matcher<std::string const&> const& printed) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        {
            std::fflush(stdout);
            dup2(STDERR_FILENO, STDOUT_FILENO);
            code();
        },
        testing::ExitedWithCode(0), printed);
}

/** Puts pulses into the channel of the server that was made last. */
class NewestChannel {
public:
    NewestChannel() : mConnection(ConnectAttach(0, 0, channelHooks::newestChannel(), 0, 0)) {}

    void post(int code, void const* value) const {
        ASSERT_EQ(0, MsgSendPulse(mConnection, sched_get_priority_min(SCHED_RR), code,
                                  reinterpret_cast<std::intptr_t>(value)));
    }

    /** Lets the server handle everything that is queued by now. */
    void runQueued(CTellbusEventServerBase& server) const {
        post(CTellbusEvent::Stop, nullptr);
        server.start();
    }

private:
    int mConnection;
};

/** A router with the fake library behind it. */
class RouterTest : public testing::Test {
protected:
    ~RouterTest() override {
        // Its last line is no part of any test but those that ask for it.
        testing::internal::CaptureStdout();
        mHold.reset();
        testing::internal::GetCapturedStdout();
    }

    CTellbusEventRouter& router() const { return *mHold->operator->(); }
    void runQueued() const { mChannel.runQueued(router()); }
    void post(int code, void const* value) const { mChannel.post(code, value); }

    FakeTellbus bus;

private:
    std::unique_ptr<CTellbusRouterHold> mHold = std::make_unique<CTellbusRouterHold>();
    NewestChannel mChannel;
};
