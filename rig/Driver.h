#pragma once

#include "platform/ControlNodePeer.h"
#include "rig/DriverMessages.h"
#include "rig/Faults.h"
#include "rig/Landing.h"
#include "rig/ReportStream.h"

#include <string>

/**
 * What an iPod's driver answers: its capabilities, what becomes of tags, and how it fails when it
 * is told to. Each request is reported before its answer leaves.
 *
 * Belongs to the thread that answers; capabilities and faults change while that stands still.
 */
class Driver {
public:
    Driver(int device, std::string const& mountPoint, Capabilities capabilities,
           ReportStream& report);

    Capabilities const& capabilities() const { return mCapabilities; }
    void setCapabilities(Capabilities capabilities) { mCapabilities = std::move(capabilities); }

    Faults const& faults() const { return mFaults; }
    void setFaults(Faults const& faults) { mFaults = faults; }

    /** Reports that an ordered wait begins, if one is ordered, and says how long it is. */
    std::chrono::milliseconds delayOf(ControlNodeRequest const& request);

    /** Answers a request without waiting for its sender. False if the sender is to be closed on. */
    bool answer(ControlNodePeer& peer);

private:
    ControlNodeReply replyTo(ControlNodeRequest const& request, Json::Value& fields);
    ControlNodeReply tellCapabilities(ControlNodeRequest const& request, Json::Value& fields) const;
    ControlNodeReply takeTags(ControlNodeRequest const& request, Json::Value& fields);
    static bool vanish(ControlNodePeer& peer, ControlNodeReply const& reply);

    int mDevice;
    Capabilities mCapabilities;
    Faults mFaults;
    Landing mLanding;
    ReportStream& mReport;
};
