#include "bus/CTellbusEventTarget.h"

#include "bus/CTellbusEventRouter.h"

CTellbusEventTarget::CTellbusEventTarget() : m_targetId(m_router->nextTargetId()) {}
