#pragma once

#include "bus/CTellbusRequestTarget.h"
#include "bus/CTellbusRouterHold.h"

#include <json/writer.h>
#include <string>

/**
 * Base of a class that is a service on the bus: owns a bus name and an object path, receives
 * method calls, replies and emits signals. All operations belong to the main thread.
 */
class CSvcImplBase : public CTellbusRequestTarget {
public:
    /**
     * @param name the bus name
     * @param path the object path that it serves
     * @param publish whether to publish at once
     */
    CSvcImplBase(char const* name, char const* path, bool const& publish);
    /** Does not unpublish: the registration ends with the router's bus connection. */
    ~CSvcImplBase() = default;

    void processTellbusRequest(CTellbusRequest* request) override;

    /** Takes the bus name, unless it is published already. A failure leaves it unpublished. */
    void publishSvcName();
    void unpublishSvcName();

    /** Sends a signal. @param jsonData its text @return the library's status */
    unsigned int emit(char const* signalName, char const* jsonData);

    /**
     * Replies to a call.
     * @param context the bus library's context of the call
     * @param release whether that is freed as well, whatever comes of the reply
     * @return the library's status of the reply
     */
    unsigned int returnReply(void* context, char const* jsonResult, bool const& release);
    /** Sends an error reply, named CTellbusRequest::ERRORNAME; otherwise like returnReply. */
    unsigned int returnError(void* context, char const* message, bool const& release);

private:
    std::string m_serviceName;
    std::string m_objectPath;
    void* m_registration = nullptr;

protected:
    /** Renders replies and signals. */
    Json::FastWriter m_jsonWriter;

private:
    CTellbusRouterHold m_router;
};
