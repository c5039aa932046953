#pragma once

#include "bus/CTellbusEventRouter.h"

// The counters of the router, so that a test need not register four billion times to see them wrap.
namespace routerIds {

IdCounter& targets(CTellbusEventRouter& router);
IdCounter& registrations(CTellbusEventRouter& router);

// An explicit instantiation may name a private member; the friend hands it out.
template <IdCounter CTellbusEventRouter::*Member>
struct Targets {
    friend IdCounter& targets(CTellbusEventRouter& router) { return router.*Member; }
};
template <IdCounter CTellbusEventRouter::*Member>
struct Registrations {
    friend IdCounter& registrations(CTellbusEventRouter& router) { return router.*Member; }
};
template struct Targets<&CTellbusEventRouter::m_targetIds>;
template struct Registrations<&CTellbusEventRouter::m_cookieIds>;

} // namespace routerIds
