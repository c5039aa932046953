#pragma once

#include "bus/CTellbusEventServerBase.h"
#include "bus/CTellbusEventTypes.h"
#include "bus/IdCounter.h"

#include <memory>
#include <vector>

class CTellbusAccessoryEventTarget;
class CTellbusNameChangeTarget;
class CTellbusRequestTarget;
class CTellbusResultTarget;
class CTellbusSignalTarget;
class CTellbusStatusTarget;

/**
 * The one event server of the process: passes each event to the object that registered for it.
 *
 * A registration is a CTellbusRouterCookie. A target that goes away clears it, and events that are
 * on their way then find no target and are dropped. All operations belong to the main thread.
 */
class CTellbusEventRouter final : public CTellbusEventServerBase {
public:
    /** The instance, made by the first call. Each call is to be paired with a releaseMe(). */
    static CTellbusEventRouter* getMe();
    /** Gives a reference back; the last one destroys the instance, unless its start() is running.
     */
    static void releaseMe();

    /**
     * Registers for one result.
     * @param cookie set to the user data for the bus library; freed with the result
     * @param context handed to the target with the event
     * @return the id of the registration, handed to the target with the event
     */
    unsigned int registerAsResultTarget(CTellbusResultTarget* target, CTellbusEventCookie*& cookie,
                                        void* context);
    /** Like registerAsResultTarget, for any number of signals; the caller ends it. */
    unsigned int registerAsSignalTarget(CTellbusSignalTarget* target, CTellbusEventCookie*& cookie,
                                        void* context);
    /** For one completion of an unsubscribe. @param context the CTellbusSubscription */
    unsigned int registerAsStatusTarget(CTellbusStatusTarget* target, CTellbusEventCookie*& cookie,
                                        void* context);
    /** Like registerAsSignalTarget, for changes of an owner. */
    unsigned int registerAsNameChangeTarget(CTellbusNameChangeTarget* target,
                                            CTellbusEventCookie*& cookie, void* context);
    /** @return what is to be sent as the value of a pulse with code CTellbusEvent::Accessory */
    CTellbusRouterCookie* registerAsAccessoryEventTarget(CTellbusAccessoryEventTarget* target,
                                                         void* context);
    /** Publishes a service. @return the registration's handle, null on failure */
    void* registerAsRequestTarget(CTellbusRequestTarget* target, char const* name,
                                  char const* path);
    /** Ends the registration of a service. @return the library's status */
    unsigned int unregisterAsRequestTarget(void* handle);

    /**
     * No event reaches the target from now on.
     * @param release whether to free the cookie and what it leads to; only if the bus library does
     *        not hold it and no event with it is queued
     */
    void unregisterAsEventTarget(CTellbusEventCookie* cookie, bool const& release);
    void unregisterAsEventTarget(CTellbusRouterCookie* cookie, bool const& release);

    /**
     * Takes over a subscription that the bus library may still serve: no event of it reaches its
     * target, and its cookies stay until they can't be used any more.
     */
    void retire(std::unique_ptr<CTellbusSubscription> subscription);

    unsigned int nextTargetId() { return m_targetIds.next(); }

    void processTellbusRequest(CTellbusRequest* request, void* target) override;
    void processTellbusResult(CTellbusResult* result, void* cookie) override;
    void processTellbusSignal(CTellbusSignal const* signal, void* cookie) override;
    void processTellbusStatus(unsigned int status, void* cookie) override;
    void processTellbusNameChange(CTellbusNameChange const* change, void* cookie) override;
    void processAccessoryEvent(void* cookie) override;

private:
    CTellbusEventRouter();
    ~CTellbusEventRouter();

    template <class Target>
    std::unique_ptr<CTellbusRouterCookie> newRouterCookie(Target* target, void* context);
    template <class Target>
    unsigned int registerTarget(Target* target, CTellbusEvent::Code code,
                                CTellbusEventCookie*& cookie, void* context);

    void keepCookiesOf(CTellbusSubscription const& subscription);
    /** Leaves a subscription whose unsubscribe failed as it is, as long as this object lives. */
    void keepUncompleted(CTellbusSubscription* subscription);

    IdCounter m_targetIds;
    IdCounter m_cookieIds;
    std::vector<std::unique_ptr<CTellbusRouterCookie>> m_retired;
    std::vector<std::unique_ptr<CTellbusSubscription>> m_uncompleted;

    inline static CTellbusEventRouter* m_pMe = nullptr;
    inline static unsigned int m_myRefCount = 0;
};
