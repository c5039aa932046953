#pragma once

#include <json/value.h>

class CTellbusRequest;
class CTellbusSignal;

/**
 * A way of working: how what comes from the bus is judged, and how tags are kept. There are two,
 * and KeepingChoice alone says which one a piece of work gets. Main thread only.
 */
class Keeping {
public:
    virtual ~Keeping() = default;

    /** Counts what waits and publishes it, once, before anything else. @throws CTagException* */
    virtual void begin() = 0;
    /** Does the work of one method call. @return the reply */
    virtual Json::Value replyTo(CTellbusRequest& request) = 0;
    /** Takes the answer to "getDevices", null for none. */
    virtual void takeDevices(char const* answer) = 0;
    /** Takes a "deviceState" signal. */
    virtual void takeDeviceState(CTellbusSignal const* signal) = 0;
    /** The media service has gone, or has another owner. */
    virtual void takeMediaOwner(bool hasOwner) = 0;
};
