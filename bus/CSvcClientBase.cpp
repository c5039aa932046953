// Calls, subscriptions and their ends.
//
// Two records stand for a registration: the event cookie, which the bus library hands back on its
// own thread, and the router cookie, which says on the main thread whom an event is for. This class
// keeps a record of each call and of each subscription with the addresses of both, so that it can
// let go of them before they are through. It frees none of them while an event with them may be on
// its way: the listener and the router do when a call's result has come, the completion does for a
// subscription, and what the client leaves behind when it goes is kept by the router.
#include "bus/CSvcClientBase.h"

#include "bus/CTellbusEventListener.h"
#include "bus/CTellbusEventRouter.h"
#include "bus/Report.h"
#include "bus/TellbusStatus.h"

#include <algorithm>
#include <string>

namespace {

CTellbusRouterCookie* routerCookieOf(CTellbusEventCookie const& cookie) {
    return static_cast<CTellbusRouterCookie*>(cookie.context);
}

bool isEmpty(char const* text) {
    return text == nullptr || *text == '\0';
}

void reportNotOverridden(char const* handler) {
    report("CSvcClientBase::%s() - Warning: Function not overridden by child class.\n", handler);
}

} // namespace

CSvcClientBase::CSvcClientBase() {
    m_busConnection = m_router->busConnection();
}

CSvcClientBase::~CSvcClientBase() {
    for (auto& subscription : m_subscriptions) {
        m_router->retire(std::move(subscription));
    }
    for (auto const& call : m_pendingCalls) {
        m_router->unregisterAsEventTarget(call->routerCookie, false);
    }
}

unsigned int CSvcClientBase::invoke(char const* busName, char const* objectPath, char const* method,
                                    Json::Value const& parameters, bool noReplyExpected,
                                    unsigned int timeout, void* context) {
    std::string const text = m_jsonWriter.write(parameters);
    CTellbusEventCookie* cookie = nullptr;
    CTellbusRouterCookie* routerCookie = nullptr;
    unsigned int id = 0;
    if (!noReplyExpected) {
        id = m_router->registerAsResultTarget(this, cookie, context);
        routerCookie = routerCookieOf(*cookie);
    }
    void* token = nullptr;
    TELLBUS_tStatus const status = TELLBUS_asyncInvoke(
        m_busConnection, busName, objectPath, method, text.c_str(), noReplyExpected, timeout,
        CTellbusEventListener::onTellbusResult, &token, cookie);
    if (cookie == nullptr) {
        return 0;
    }
    if (isTellbusFailure(status)) {
        m_router->unregisterAsEventTarget(cookie, true);
    } else {
        // The reply may have come already, and the listener freed the cookie: from here on it is
        // only an address.
        m_pendingCalls.push_back(
            std::make_unique<CTellbusSubscription>(id, nullptr, cookie, routerCookie));
    }
    return id;
}

void CSvcClientBase::processTellbusResult(unsigned int const& id, CTellbusResult* result,
                                          void* context) {
    // The call stays listed while its handler runs, and not a moment longer than the router cookie
    // lives, so it is also forgotten when the handler throws.
    struct ForgetCall {
        Records& calls;
        unsigned int const id;
        ~ForgetCall() { take(calls, id); }
    } const atTheEnd{m_pendingCalls, id};
    // Silence is no result: what was known before stays. A caller that must know keeps time itself.
    bool const silence = isTellbusUnanswered(result->status) && isEmpty(result->text);
    if (!silence) {
        processTellbusResult(id, static_cast<char const*>(result->text), context);
    }
}

void CSvcClientBase::ignoreResponse(unsigned int const& id) {
    if (std::unique_ptr<CTellbusSubscription> const call = take(m_pendingCalls, id)) {
        m_router->unregisterAsEventTarget(call->routerCookie, false);
    }
}

unsigned int CSvcClientBase::subscribe(char const* objectPath, char const* signalName,
                                       void* context) {
    CTellbusEventCookie* cookie = nullptr;
    unsigned int const id = m_router->registerAsSignalTarget(this, cookie, context);
    void* handle = nullptr;
    TELLBUS_tStatus const status =
        TELLBUS_subscribe(m_busConnection, objectPath, signalName,
                          CTellbusEventListener::onTellbusSignal, cookie, &handle);
    keepSubscription(status, id, handle, cookie);
    return id;
}

unsigned int CSvcClientBase::subscribeOwnerChanged(char const* name, void* context) {
    CTellbusEventCookie* cookie = nullptr;
    unsigned int const id = m_router->registerAsNameChangeTarget(this, cookie, context);
    void* handle = nullptr;
    TELLBUS_tStatus const status = TELLBUS_subscribeOwnerChanged(
        m_busConnection, name, CTellbusEventListener::onTellbusNameOwnerChanged, cookie, &handle);
    if (!keepSubscription(status, id, handle, cookie)) {
        // The full stop stands behind the line feed.
        // Test: CSvcClientBaseTest.*WithTheStopBehindTheLineFeed.
        report("error subscribing for ownerChange signal\n.");
    }
    return id;
}

bool CSvcClientBase::keepSubscription(unsigned int status, unsigned int id, void* handle,
                                      CTellbusEventCookie* cookie) {
    if (isTellbusFailure(status)) {
        m_router->unregisterAsEventTarget(cookie, true);
        return false;
    }
    m_subscriptions.push_back(
        std::make_unique<CTellbusSubscription>(id, handle, cookie, routerCookieOf(*cookie)));
    return true;
}

void CSvcClientBase::unsubscribe(unsigned int const& id) {
    auto const found = find(m_subscriptions, id);
    if (found == m_subscriptions.end()) {
        return;
    }
    CTellbusSubscription& subscription = **found;
    m_router->registerAsStatusTarget(this, subscription.completionCookie, &subscription);
    TELLBUS_tStatus const status = TELLBUS_asyncUnsubscribe(
        subscription.handle, CTellbusEventListener::onTellbusStatus, subscription.completionCookie);
    if (isTellbusFailure(status)) {
        report("CSvcClientBase: TELLBUS_unsubscribe error!\n");
        m_router->unregisterAsEventTarget(subscription.completionCookie, true);
        subscription.completionCookie = nullptr;
        return;
    }
    m_router->unregisterAsEventTarget(subscription.routerCookie, false);
    // The completion frees it, see CTellbusStatusTarget::onTellbusStatus.
    static_cast<void>(found->release());
    m_subscriptions.erase(found);
}

bool CSvcClientBase::nameHasOwner(char const* name) {
    unsigned int hasOwner = 0;
    TELLBUS_tStatus const status = TELLBUS_nameHasOwner(m_busConnection, name, &hasOwner);
    return !isTellbusFailure(status) && hasOwner != 0;
}

CSvcClientBase::Records::iterator CSvcClientBase::find(Records& records, unsigned int id) {
    return std::find_if(records.begin(), records.end(),
                        [id](auto const& record) { return record->id == id; });
}

std::unique_ptr<CTellbusSubscription> CSvcClientBase::take(Records& records, unsigned int id) {
    auto const found = find(records, id);
    if (found == records.end()) {
        return nullptr;
    }
    std::unique_ptr<CTellbusSubscription> record = std::move(*found);
    records.erase(found);
    return record;
}

void CSvcClientBase::processTellbusStatus(unsigned int const&, unsigned int, void*) {
    report("CSvcClientBase::processTellbusStatus() - Warning: Function not intended for use at "
           "this time.\n");
}

void CSvcClientBase::processTellbusResult(unsigned int const&, char const*, void*) {
    reportNotOverridden("processTellbusResult");
}

void CSvcClientBase::processTellbusSignal(unsigned int const&, CTellbusSignal const*, void*) {
    reportNotOverridden("processTellbusSignal");
}

void CSvcClientBase::processTellbusNameChange(unsigned int const&, CTellbusNameChange const*,
                                              void*) {
    reportNotOverridden("processTellbusNameChange");
}
