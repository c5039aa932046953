#pragma once

#include "bus/CTellbusEventTarget.h"

/** Takes accessory events, which are posted to the channel from outside the bus. */
class CTellbusAccessoryEventTarget : public CTellbusEventTarget {
public:
    /** @param context what the registration was given */
    virtual void processAccessoryEvent(void* context) = 0;

protected:
    ~CTellbusAccessoryEventTarget() = default;
};
