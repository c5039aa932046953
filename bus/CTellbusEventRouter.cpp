// Who frees the two cookies of a registration. A result's event cookie is freed by the listener on
// the library's thread, its router cookie here after the dispatch. Those of a subscription are
// freed when its unsubscribe is complete; where that can't be waited for, retire() keeps them:
// the event cookie until the library is shut down, the router cookie as long as this object, since
// events that were queued before are still dispatched.
#include "bus/CTellbusEventRouter.h"

#include "bus/CTellbusAccessoryEventTarget.h"
#include "bus/CTellbusNameChangeTarget.h"
#include "bus/CTellbusRequestTarget.h"
#include "bus/CTellbusResultTarget.h"
#include "bus/CTellbusSignalTarget.h"
#include "bus/CTellbusStatusTarget.h"
#include "bus/Report.h"
#include "bus/TellbusStatus.h"
#include "platform/neutrino.h"

namespace {

constexpr unsigned int CHANNELFLAGS = _NTO_CHF_FIXED_PRIORITY;

CTellbusRouterCookie* asCookie(void* context) {
    return static_cast<CTellbusRouterCookie*>(context);
}

/** Whom an event is for; null if the one who registered has gone. */
template <class Target>
Target* targetOf(CTellbusRouterCookie const& cookie) {
    auto* const target = static_cast<Target*>(cookie.target);
    bool const fresh = target != nullptr && target->targetId() == cookie.targetId;
    return fresh ? target : nullptr;
}

template <class Target, class Record>
void passOn(CTellbusRouterCookie const& cookie, Record const* record,
            void (Target::*handler)(unsigned int const&, Record const*, void*)) {
    if (auto* const target = targetOf<Target>(cookie)) {
        (target->*handler)(cookie.cookieId, record, cookie.context);
    }
}

} // namespace

CTellbusEventRouter* CTellbusEventRouter::getMe() {
    if (m_pMe == nullptr) {
        m_pMe = new CTellbusEventRouter;
    }
    ++m_myRefCount;
    return m_pMe;
}

void CTellbusEventRouter::releaseMe() {
    if (m_myRefCount != 0 && --m_myRefCount != 0) {
        return;
    }
    if (m_pMe == nullptr || m_pMe->isRunning()) {
        return;
    }
    delete m_pMe;
    m_pMe = nullptr;
}

CTellbusEventRouter::CTellbusEventRouter() : CTellbusEventServerBase(CHANNELFLAGS) {}

CTellbusEventRouter::~CTellbusEventRouter() {
    report("Destroyed CTellbusEventRouter.\n");
}

template <class Target>
std::unique_ptr<CTellbusRouterCookie> CTellbusEventRouter::newRouterCookie(Target* target,
                                                                           void* context) {
    return std::make_unique<CTellbusRouterCookie>(target, target->targetId(), m_cookieIds.next(),
                                                  context);
}

template <class Target>
unsigned int CTellbusEventRouter::registerTarget(Target* target, CTellbusEvent::Code code,
                                                 CTellbusEventCookie*& cookie, void* context) {
    std::unique_ptr<CTellbusRouterCookie> routerCookie = newRouterCookie(target, context);
    unsigned int const id = routerCookie->cookieId;
    auto eventCookie =
        std::make_unique<CTellbusEventCookie>(&listener(), code, routerCookie.release());
    cookie = eventCookie.release();
    return id;
}

unsigned int CTellbusEventRouter::registerAsResultTarget(CTellbusResultTarget* target,
                                                         CTellbusEventCookie*& cookie,
                                                         void* context) {
    return registerTarget(target, CTellbusEvent::Result, cookie, context);
}

unsigned int CTellbusEventRouter::registerAsSignalTarget(CTellbusSignalTarget* target,
                                                         CTellbusEventCookie*& cookie,
                                                         void* context) {
    return registerTarget(target, CTellbusEvent::Signal, cookie, context);
}

unsigned int CTellbusEventRouter::registerAsStatusTarget(CTellbusStatusTarget* target,
                                                         CTellbusEventCookie*& cookie,
                                                         void* context) {
    return registerTarget(target, CTellbusEvent::Status, cookie, context);
}

unsigned int CTellbusEventRouter::registerAsNameChangeTarget(CTellbusNameChangeTarget* target,
                                                             CTellbusEventCookie*& cookie,
                                                             void* context) {
    return registerTarget(target, CTellbusEvent::NameChange, cookie, context);
}

CTellbusRouterCookie*
CTellbusEventRouter::registerAsAccessoryEventTarget(CTellbusAccessoryEventTarget* target,
                                                    void* context) {
    return newRouterCookie(target, context).release();
}

void* CTellbusEventRouter::registerAsRequestTarget(CTellbusRequestTarget* target, char const* name,
                                                   char const* path) {
    return registerWithTellbus(name, path, target);
}

unsigned int CTellbusEventRouter::unregisterAsRequestTarget(void* handle) {
    return unregisterWithTellbus(handle);
}

void CTellbusEventRouter::unregisterAsEventTarget(CTellbusEventCookie* cookie,
                                                  bool const& release) {
    unregisterAsEventTarget(asCookie(cookie->context), release);
    if (release) {
        delete cookie;
    }
}

void CTellbusEventRouter::unregisterAsEventTarget(CTellbusRouterCookie* cookie,
                                                  bool const& release) {
    cookie->target = nullptr;
    if (release) {
        delete cookie;
    }
}

void CTellbusEventRouter::retire(std::unique_ptr<CTellbusSubscription> subscription) {
    unregisterAsEventTarget(subscription->routerCookie, false);
    keepCookiesOf(*subscription);
}

void CTellbusEventRouter::keepCookiesOf(CTellbusSubscription const& subscription) {
    m_retired.emplace_back(subscription.routerCookie);
    keepUntilDisabled(std::unique_ptr<CTellbusEventCookie>(subscription.cookie));
    keepUntilDisabled(std::unique_ptr<CTellbusEventCookie>(subscription.completionCookie));
}

void CTellbusEventRouter::keepUncompleted(CTellbusSubscription* subscription) {
    // One that knows no router cookie was made by somebody else, who still has it.
    // Test: CTellbusEventRouterTest.AFailedCompletionLeavesTheRecordOfItsMakerAlone.
    if (subscription->routerCookie != nullptr) {
        keepCookiesOf(*subscription);
        m_uncompleted.emplace_back(subscription);
    }
}

void CTellbusEventRouter::processTellbusRequest(CTellbusRequest* request, void* target) {
    static_cast<CTellbusRequestTarget*>(target)->processTellbusRequest(request);
}

void CTellbusEventRouter::processTellbusResult(CTellbusResult* result, void* cookie) {
    std::unique_ptr<CTellbusRouterCookie> const servesOnce(asCookie(cookie));
    if (auto* const target = targetOf<CTellbusResultTarget>(*servesOnce)) {
        target->processTellbusResult(servesOnce->cookieId, result, servesOnce->context);
    } else {
        report("CTellbusEventRouter::processTellbusResult() - ignoring result having id: %d\n",
               static_cast<int>(servesOnce->cookieId));
    }
}

void CTellbusEventRouter::processTellbusSignal(CTellbusSignal const* signal, void* cookie) {
    passOn(*asCookie(cookie), signal, &CTellbusSignalTarget::processTellbusSignal);
}

void CTellbusEventRouter::processTellbusNameChange(CTellbusNameChange const* change, void* cookie) {
    passOn(*asCookie(cookie), change, &CTellbusNameChangeTarget::processTellbusNameChange);
}

void CTellbusEventRouter::processAccessoryEvent(void* cookie) {
    CTellbusRouterCookie const& registration = *asCookie(cookie);
    if (auto* const target = targetOf<CTellbusAccessoryEventTarget>(registration)) {
        target->processAccessoryEvent(registration.context);
    }
}

void CTellbusEventRouter::processTellbusStatus(unsigned int status, void* cookie) {
    std::unique_ptr<CTellbusRouterCookie> const servesOnce(asCookie(cookie));
    CTellbusStatusTarget::onTellbusStatus(servesOnce->cookieId, status, servesOnce->context);
    if (isTellbusFailure(status)) {
        keepUncompleted(static_cast<CTellbusSubscription*>(servesOnce->context));
    }
}
