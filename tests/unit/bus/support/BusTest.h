#pragma once

#include "EndOfProcess.h"
#include "FakeTellbus.h"
#include "FreeWatch.h"
#include "NewestChannel.h"
#include "bus/CTellbusEventRouter.h"
#include "bus/CTellbusRouterHold.h"
#include "support/StdoutOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

/** A router with the fake library behind it. */
class RouterTest : public testing::Test {
protected:
    ~RouterTest() override {
        // Its last line is no part of any test but those that ask for it.
        stdoutOf([&] { mHold.reset(); });
    }

    CTellbusEventRouter& router() const { return *mHold->operator->(); }
    void runQueued() const { mChannel.runQueued(router()); }
    void post(int code, void const* value) const { mChannel.post(code, value); }

    FakeTellbus bus;

private:
    std::unique_ptr<CTellbusRouterHold> mHold = std::make_unique<CTellbusRouterHold>();
    NewestChannel mChannel;
};
