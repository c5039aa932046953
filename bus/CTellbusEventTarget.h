#pragma once

#include "bus/CTellbusRouterHold.h"

/**
 * What the target interfaces have in common: a reference on the router, and an id by which the
 * router tells a target from another one that came to stand at the same address.
 */
class CTellbusEventTarget {
public:
    CTellbusEventTarget(CTellbusEventTarget const&) = delete;
    CTellbusEventTarget& operator=(CTellbusEventTarget const&) = delete;

    unsigned int targetId() const { return m_targetId; }

protected:
    CTellbusEventTarget();
    ~CTellbusEventTarget() = default;

private:
    CTellbusRouterHold m_router;
    unsigned int m_targetId;
};
