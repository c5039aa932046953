#pragma once

#include "rig/Capabilities.h"
#include "rig/Device.h"
#include "rig/Driver.h"
#include "rig/DriverLoop.h"
#include "rig/Faults.h"
#include "rig/ReportStream.h"

/**
 * A device and, if it is an iPod, the driver behind its control node.
 *
 * A change stops the driver's loop, changes, and starts it again, so that nothing is shared while
 * it runs and no request is lost.
 */
class Ipod {
public:
    /** @throws std::runtime_error if the system has no room for it */
    Ipod(Device device, Capabilities capabilities, ReportStream& report);

    /** Offers the node; does nothing for what is no iPod. @throws std::runtime_error if it fails */
    void serve();

    /** Takes the node away from its place for another device; who has it open keeps it. */
    void withdraw();

    /** Offers it there again. @throws std::runtime_error if it fails */
    void restore();

    void setCapabilities(Capabilities capabilities);

    /** @throws std::runtime_error if the node cannot be offered; nothing has changed then */
    void setFaults(Faults const& faults);

    Device const& device() const { return mDevice; }

    /** Everything about it, for a report. */
    Json::Value describe() const;

private:
    class Pause;

    void showNode(bool shown);

    Device mDevice;
    Driver mDriver;
    DriverLoop mLoop; // last, so that it ends before what it looks at
};
