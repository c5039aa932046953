#pragma once

#include "platform/Mutex.h"
#include "tellbus/Message.h"
#include "tellbus/Outbox.h"
#include "tellbus/Request.h"
#include "tellbus/Service.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace tellbus {

/** The calls of others: the services that take them, and what the library answers itself. */
class IncomingCalls : public std::enable_shared_from_this<IncomingCalls> {
public:
    /** Makes of a request the context by which the service knows it. */
    using Admit = std::function<void*(std::shared_ptr<Request> const&)>;

    IncomingCalls(std::shared_ptr<Outbox> outbox, Admit admit)
        : mOutbox(std::move(outbox)), mAdmit(std::move(admit)) {}

    /** Asks the bus for the name and waits for its answer. */
    TELLBUS_tStatus registerService(ServicePtr const& service);

    /**
     * Gives the object up, and its name with the last one. A callback may still run: whoever has to
     * know waits for the library thread to come past. False if it was not registered.
     */
    bool unregisterService(ServicePtr const& service);

    /** Gives a service's introspection data; false if it is no longer registered. */
    bool describe(ServicePtr const& service, std::string description);

    /** Forgets every service. */
    void clear();

    /** A call has arrived. */
    void onCall(DBusMessage* message);

    /** Takes the names again on a bus that is new. With the mutex of the outbox. */
    void restore();

private:
    void onServiceCall(ServicePtr const& service, std::uint64_t generation, DBusMessage* message);
    void onPeerCall(DBusMessage* message);
    void onIntrospectCall(DBusMessage* message);
    void onPropertiesCall(DBusMessage* message);
    void refuse(DBusMessage* call, char const* errorName, std::string const& text);
    void refuseUnknownPath(DBusMessage* call);
    TELLBUS_tStatus onNameAnswer(ServicePtr const& service, TELLBUS_tStatus status);
    void releaseIfUnused(std::string const& name) REQUIRES(mOutbox->mutex());

    std::shared_ptr<Outbox> const mOutbox;
    Admit const mAdmit;
    Services mServices GUARDED_BY(mOutbox->mutex());
};

} // namespace tellbus
