#include "bus/CTellbusRouterHold.h"

#include "bus/CTellbusEventRouter.h"

CTellbusRouterHold::CTellbusRouterHold() : m_pRouter(CTellbusEventRouter::getMe()) {}

CTellbusRouterHold::~CTellbusRouterHold() {
    CTellbusEventRouter::releaseMe();
}
