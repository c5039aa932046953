#pragma once

class CTellbusEventRouter;

/** One holder's reference on the router, which the first one brings up. Main thread. */
class CTellbusRouterHold {
public:
    CTellbusRouterHold();
    ~CTellbusRouterHold();
    CTellbusRouterHold(CTellbusRouterHold const&) = delete;
    CTellbusRouterHold& operator=(CTellbusRouterHold const&) = delete;

    CTellbusEventRouter* operator->() const { return m_pRouter; }

private:
    CTellbusEventRouter* m_pRouter;
};
