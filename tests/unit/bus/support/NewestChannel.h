#pragma once

#include "ChannelHooks.h"
#include "bus/CTellbusEventServerBase.h"
#include "platform/neutrino.h"

#include <gtest/gtest.h>
#include <sched.h>

/** Puts pulses into the channel of the server that was made last. */
class NewestChannel {
public:
    NewestChannel() : mConnection(ConnectAttach(0, 0, channelHooks::newestChannel(), 0, 0)) {}

    void post(int code, void const* value) const {
        ASSERT_EQ(0, MsgSendPulse(mConnection, sched_get_priority_min(SCHED_RR), code,
                                  reinterpret_cast<std::intptr_t>(value)));
    }

    /** Has the loop end behind what is queued by now. */
    void postStop() const { post(CTellbusEvent::Stop, nullptr); }

    /** Lets the server handle everything that is queued by now. */
    void runQueued(CTellbusEventServerBase& server) const {
        postStop();
        server.start();
    }

private:
    int mConnection;
};
