// What moves through here are calls, from the outbox to the callbacks of the services.
//
// A call becomes a request when a service is found for it. The request belongs to whoever was given
// its context, until that is freed; it knows the link that it came through, so that its answer goes
// to nobody else. What no service takes is answered here and now: Peer, Introspectable and
// Properties, of which no object has any, and errors. A call that is wrong and wants no reply
// leaves a line, as nobody would hear of it.
//
// The table of services changes under the mutex of the outbox, together with the names that the
// bus is asked for, so that a name is given up only with its last service.
#include "tellbus/IncomingCalls.h"

#include "tellbus/Answer.h"
#include "tellbus/Complaints.h"
#include "tellbus/HandOver.h"
#include "tellbus/Introspection.h"
#include "tellbus/Status.h"
#include "tellbus/Validate.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace tellbus {

namespace {

/** What the answer to RequestName says; in its absence, why there is none. */
TELLBUS_tStatus nameStatus(TELLBUS_tStatus status, DBusMessage* answer) {
    dbus_uint32_t result = 0;
    if (failed(status)) {
        return status;
    }
    if (!dbus_message_get_args(answer, nullptr, DBUS_TYPE_UINT32, &result, DBUS_TYPE_INVALID)) {
        return TELLBUS_E_REPLY;
    }
    bool const owner = result == DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER
                       || result == DBUS_REQUEST_NAME_REPLY_ALREADY_OWNER;
    return owner ? TELLBUS_OK : TELLBUS_E_NAME_TAKEN;
}

struct PropertiesMethod {
    char const* name;
    char const* signature;
};

constexpr char GET_ALL[] = "GetAll";
constexpr PropertiesMethod PROPERTIES_METHODS[] = {{"Get", "ss"}, {GET_ALL, "s"}, {"Set", "ssv"}};

PropertiesMethod const* propertiesMethodOf(DBusMessage* call) {
    auto const* const found = std::find_if(
        std::begin(PROPERTIES_METHODS), std::end(PROPERTIES_METHODS),
        [call](auto const& method) { return dbus_message_has_member(call, method.name); });
    return found == std::end(PROPERTIES_METHODS) ? nullptr : found;
}

} // namespace

void IncomingCalls::onCall(DBusMessage* message) {
    if (dbus_message_has_interface(message, DBUS_INTERFACE_PEER)) {
        return onPeerCall(message);
    }
    if (dbus_message_has_interface(message, DBUS_INTERFACE_INTROSPECTABLE)) {
        return onIntrospectCall(message);
    }
    if (dbus_message_has_interface(message, DBUS_INTERFACE_PROPERTIES)) {
        return onPropertiesCall(message);
    }
    std::string_view const path = orEmpty(dbus_message_get_path(message));
    ServicePtr service;
    std::uint64_t generation = 0;
    bool isNode = false;
    {
        MutexLock const lock(mOutbox->mutex());
        service = mServices.route(path, orEmpty(dbus_message_get_destination(message)));
        generation = mOutbox->generation();
        isNode = !service && (path == "/" || !mServices.childrenOf(path).empty());
    }
    if (service) {
        return onServiceCall(service, generation, message);
    }
    if (!isNode) {
        return refuseUnknownPath(message);
    }
    refuse(message, DBUS_ERROR_UNKNOWN_METHOD, "This object only has other objects below it");
}

void IncomingCalls::onServiceCall(ServicePtr const& service, std::uint64_t generation,
                                  DBusMessage* message) {
    Argument const argument = argumentOf(message);
    if (!argument.valid) {
        return refuse(message, DBUS_ERROR_INVALID_ARGS, "One string or nothing is expected");
    }
    auto const request = std::make_shared<Request>();
    request->generation = generation;
    request->caller = returnAddressOf(message);
    request->noReply = dbus_message_get_no_reply(message);
    handOver();
    service->callback(mAdmit(request), dbus_message_get_member(message), argument.text,
                      request->noReply ? 1 : 0, service->cookie);
}

void IncomingCalls::onPeerCall(DBusMessage* message) {
    bool const ping = dbus_message_has_member(message, "Ping");
    if (!ping && !dbus_message_has_member(message, "GetMachineId")) {
        return refuse(message, DBUS_ERROR_UNKNOWN_METHOD, "Peer has Ping and GetMachineId");
    }
    if (!dbus_message_has_signature(message, "")) {
        return refuse(message, DBUS_ERROR_INVALID_ARGS, "No argument is expected");
    }
    std::unique_ptr<char, void (*)(void*)> const machine(
        ping ? nullptr : dbus_try_get_local_machine_id(nullptr), dbus_free);
    if (!ping && !machine) {
        return refuse(message, DBUS_ERROR_FAILED, "This machine has no id");
    }
    if (!dbus_message_get_no_reply(message)) {
        mOutbox->send(reply(returnAddressOf(message), machine.get()));
    }
}

void IncomingCalls::onIntrospectCall(DBusMessage* message) {
    std::string const path = orEmpty(dbus_message_get_path(message));
    if (!dbus_message_has_member(message, "Introspect")) {
        return refuse(message, DBUS_ERROR_UNKNOWN_METHOD, "Introspectable has Introspect");
    }
    if (!dbus_message_has_signature(message, "")) {
        return refuse(message, DBUS_ERROR_INVALID_ARGS, "No argument is expected");
    }
    std::vector<Described> services;
    std::set<std::string> children;
    {
        MutexLock const lock(mOutbox->mutex());
        services = mServices.describedAt(path);
        children = mServices.childrenOf(path);
    }
    if (services.empty() && children.empty() && path != "/") {
        return refuseUnknownPath(message);
    }
    std::string const data = introspectionData(services, children);
    if (failed(checkText(data.c_str()))) {
        return refuse(message, DBUS_ERROR_LIMITS_EXCEEDED, "The descriptions are too long");
    }
    if (!dbus_message_get_no_reply(message)) {
        mOutbox->send(reply(returnAddressOf(message), data.c_str()));
    }
}

void IncomingCalls::onPropertiesCall(DBusMessage* message) {
    bool isObject = false;
    {
        MutexLock const lock(mOutbox->mutex());
        isObject = mServices.hasObject(orEmpty(dbus_message_get_path(message)));
    }
    if (!isObject) {
        return refuseUnknownPath(message);
    }
    PropertiesMethod const* const method = propertiesMethodOf(message);
    if (method == nullptr) {
        return refuse(message, DBUS_ERROR_UNKNOWN_METHOD, "Properties has Get, GetAll and Set");
    }
    if (!dbus_message_has_signature(message, method->signature)) {
        return refuse(message, DBUS_ERROR_INVALID_ARGS,
                      std::string("Expected are arguments of the types ") + method->signature);
    }
    if (!dbus_message_has_member(message, GET_ALL)) {
        return refuse(message, DBUS_ERROR_UNKNOWN_PROPERTY, "This object has no properties");
    }
    if (!dbus_message_get_no_reply(message)) {
        mOutbox->send(replyWithoutProperties(returnAddressOf(message)));
    }
}

void IncomingCalls::refuse(DBusMessage* call, char const* errorName, std::string const& text) {
    if (dbus_message_get_no_reply(call)) {
        return complain(Complaint::BadCall, describeMessage(call) + ": " + text);
    }
    mOutbox->send(errorReply(returnAddressOf(call), errorName, text.c_str()));
}

void IncomingCalls::refuseUnknownPath(DBusMessage* call) {
    refuse(call, DBUS_ERROR_UNKNOWN_OBJECT,
           "No such object: " + shortened(orEmpty(dbus_message_get_path(call))));
}

TELLBUS_tStatus IncomingCalls::registerService(ServicePtr const& service) {
    auto const answer = std::make_shared<Answer<TELLBUS_tStatus>>();
    TimePoint const deadline = answerDeadline();
    {
        MutexLock const lock(mOutbox->mutex());
        TELLBUS_tStatus status = mOutbox->sendable();
        if (failed(status)) {
            return status;
        }
        // A place in the queue for the name would be lost by a request that wants none.
        bool const known = mServices.hasName(service->name);
        if (!mServices.add(service)) {
            return TELLBUS_E_EXISTS;
        }
        MessagePtr const request =
            requestName(service->name.c_str(), known ? 0 : DBUS_NAME_FLAG_DO_NOT_QUEUE);
        status = mOutbox->transmit(
            request.get(), deadline,
            [self = shared_from_this(), service, answer](TELLBUS_tStatus result,
                                                         DBusMessage* message) {
                answer->set(self->onNameAnswer(service, nameStatus(result, message)));
            });
        if (failed(status)) {
            mServices.remove(service);
            return status;
        }
    }
    auto const status = answer->waitUntil(deadline);
    if (!status) {
        unregisterService(service);
    }
    return status.value_or(TELLBUS_E_TIMEOUT);
}

TELLBUS_tStatus IncomingCalls::onNameAnswer(ServicePtr const& service, TELLBUS_tStatus status) {
    MutexLock const lock(mOutbox->mutex());
    if (!mServices.contains(service)) {
        // A call that came first has unregistered it, the connection was closed, or whoever
        // registered has given up waiting.
        return status;
    }
    service->named = !failed(status);
    if (!service->named) {
        mServices.remove(service);
        // The bus may have queued us for it.
        releaseIfUnused(service->name);
    }
    return status;
}

bool IncomingCalls::unregisterService(ServicePtr const& service) {
    MutexLock const lock(mOutbox->mutex());
    bool const was = mServices.remove(service);
    if (was) {
        releaseIfUnused(service->name);
    }
    return was;
}

void IncomingCalls::releaseIfUnused(std::string const& name) {
    if (mOutbox->isConnected() && !mServices.hasName(name)) {
        MessagePtr const release = busCall("ReleaseName", name.c_str());
        dbus_message_set_no_reply(release.get(), TRUE);
        mOutbox->transmit(release.get());
    }
}

bool IncomingCalls::describe(ServicePtr const& service, std::string description) {
    MutexLock const lock(mOutbox->mutex());
    service->description = std::move(description);
    return mServices.contains(service);
}

void IncomingCalls::clear() {
    MutexLock const lock(mOutbox->mutex());
    mServices.clear();
}

void IncomingCalls::restore() {
    mOutbox->mutex().assertHeld();
    for (auto const& name : mServices.names()) {
        // In the queue for the name this time: it comes back even if another process was faster.
        mOutbox->transmit(requestName(name.c_str(), 0).get(), TimePoint::max(),
                          [name](TELLBUS_tStatus status, DBusMessage* answer) {
                              if (answer && failed(nameStatus(status, answer))) {
                                  complain(Complaint::NameLost, name);
                              }
                          });
    }
}

} // namespace tellbus
