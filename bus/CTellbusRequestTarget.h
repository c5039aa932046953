#pragma once

#include "bus/CTellbusEventTarget.h"

class CTellbusRequest;

/** Takes the method calls that a published service receives. */
class CTellbusRequestTarget : public CTellbusEventTarget {
public:
    /** @param request gone when the handler has returned; the handler replies through it */
    virtual void processTellbusRequest(CTellbusRequest* request) = 0;

protected:
    ~CTellbusRequestTarget() = default;
};
