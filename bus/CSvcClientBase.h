#pragma once

#include "bus/CTellbusEventTypes.h"
#include "bus/CTellbusNameChangeTarget.h"
#include "bus/CTellbusResultTarget.h"
#include "bus/CTellbusRouterHold.h"
#include "bus/CTellbusSignalTarget.h"
#include "bus/CTellbusStatusTarget.h"

#include <json/value.h>
#include <json/writer.h>
#include <memory>
#include <vector>

/**
 * Base of a class that uses other services on the bus: calls their methods, subscribes to their
 * signals and learns of the owners of names. Derived classes override the handlers they need. All
 * operations belong to the main thread.
 */
class CSvcClientBase : public CTellbusResultTarget,
                       public CTellbusSignalTarget,
                       public CTellbusStatusTarget,
                       public CTellbusNameChangeTarget {
public:
    CSvcClientBase();
    /** Events of its subscriptions and calls that still come are dropped. */
    ~CSvcClientBase();

    /**
     * Calls the text form, unless nobody answered and there is no text either, then forgets the
     * call. Not to be overridden.
     */
    void processTellbusResult(unsigned int const& id, CTellbusResult* result,
                              void* context) override;
    void processTellbusStatus(unsigned int const& id, unsigned int status, void* context) override;
    /**
     * The reply to a call. Does not come for a call that nobody answered and that has no text.
     * @param id what invoke() returned
     * @param text JSON, empty for an error reply; gone when the handler has returned
     * @param context what invoke() was given
     */
    virtual void processTellbusResult(unsigned int const& id, char const* text, void* context);
    void processTellbusSignal(unsigned int const& id, CTellbusSignal const* signal,
                              void* context) override;
    void processTellbusNameChange(unsigned int const& id, CTellbusNameChange const* change,
                                  void* context) override;

    /**
     * Calls a method.
     * @param timeout milliseconds until the call counts as failed
     * @param context handed back with the reply; not owned
     * @return the call's id; 0 if no reply is expected. A call that fails at once has an id too,
     *         and no reply ever comes for it
     */
    unsigned int invoke(char const* busName, char const* objectPath, char const* method,
                        Json::Value const& parameters, bool noReplyExpected, unsigned int timeout,
                        void* context);
    /** Has the reply to a call dropped. An unknown id does nothing. */
    void ignoreResponse(unsigned int const& id);

    /**
     * Subscribes to a signal.
     * @param context handed back with each signal; not owned
     * @return the subscription's id, also when it failed; then no signal ever comes for it
     */
    unsigned int subscribe(char const* objectPath, char const* signalName, void* context);
    /** Subscribes to the changes of a name's owner; otherwise like subscribe(). */
    unsigned int subscribeOwnerChanged(char const* name, void* context);
    /** Ends a subscription; signals that still come are dropped. An unknown id does nothing. */
    void unsubscribe(unsigned int const& id);

    /** Whether somebody owns the bus name; false also if the bus can't be asked. */
    bool nameHasOwner(char const* name);

private:
    using Records = std::vector<std::unique_ptr<CTellbusSubscription>>;

    static Records::iterator find(Records& records, unsigned int id);
    static std::unique_ptr<CTellbusSubscription> take(Records& records, unsigned int id);
    bool keepSubscription(unsigned int status, unsigned int id, void* handle,
                          CTellbusEventCookie* cookie);

    void* m_busConnection = nullptr;
    Json::FastWriter m_jsonWriter;
    Records m_subscriptions;
    Records m_pendingCalls;
    CTellbusRouterHold m_router;
};
