#include "bus/CSvcImplBase.h"

#include "bus/CTellbusEventRouter.h"
#include "bus/CTellbusRequest.h"
#include "bus/Report.h"
#include "tellbus/tellbus.h"

namespace {

unsigned int releasing(void* context, bool release, TELLBUS_tStatus status) {
    if (release) {
        TELLBUS_freeReqContext(context);
    }
    return status;
}

} // namespace

CSvcImplBase::CSvcImplBase(char const* name, char const* path, bool const& publish)
    : m_serviceName(name), m_objectPath(path) {
    if (publish) {
        publishSvcName();
    }
}

void CSvcImplBase::publishSvcName() {
    if (m_registration == nullptr) {
        m_registration =
            m_router->registerAsRequestTarget(this, m_serviceName.c_str(), m_objectPath.c_str());
    }
}

void CSvcImplBase::unpublishSvcName() {
    m_router->unregisterAsRequestTarget(m_registration);
    m_registration = nullptr;
}

unsigned int CSvcImplBase::emit(char const* signalName, char const* jsonData) {
    return TELLBUS_emit(m_registration, signalName, jsonData);
}

unsigned int CSvcImplBase::returnReply(void* context, char const* jsonResult, bool const& release) {
    return releasing(context, release, TELLBUS_returnResult(context, jsonResult));
}

unsigned int CSvcImplBase::returnError(void* context, char const* message, bool const& release) {
    return releasing(context, release,
                     TELLBUS_returnError(context, CTellbusRequest::ERRORNAME, message));
}

void CSvcImplBase::processTellbusRequest(CTellbusRequest*) {
    report("CSvcImplBase::processTellbusRequest() - Warning: Function not overridden by child "
           "class.\n");
}
