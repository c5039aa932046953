#pragma once

#include "platform/Mutex.h"
#include "tellbus/EventLoop.h"
#include "tellbus/Message.h"
#include "tellbus/Outbox.h"
#include "tellbus/Subscription.h"

#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace tellbus {

/** The signals of others: who wants which, who owns the names that they come from. */
class IncomingSignals : public std::enable_shared_from_this<IncomingSignals> {
public:
    explicit IncomingSignals(std::shared_ptr<Outbox> outbox) : mOutbox(std::move(outbox)) {}

    /** Works without a bus too. */
    TELLBUS_tStatus subscribe(SubscriptionPtr const& subscription);

    /**
     * After it finishUnsubscribes() on the library thread runs done, when no callback of the
     * subscription can follow. Fails only on a closed connection, and then done never runs.
     */
    TELLBUS_tStatus unsubscribe(SubscriptionPtr const& subscription, EventLoop::Task done);
    void finishUnsubscribes();

    /** Forgets every subscription. */
    void clear();

    /** A signal has arrived. */
    void onSignal(DBusMessage* message);

    /**
     * Tells a bus that is new all that the one before knew, in the order of the first time. With
     * the mutex of the outbox.
     */
    void restore();

    /**
     * The names have no owners any more; what this returns tells so. With the mutex of the outbox,
     * which has to be free for what is returned.
     */
    EventLoop::Task loseOwners();

private:
    void onOwnerChanged(DBusMessage* message);
    void onOwner(std::weak_ptr<WatchedName> const& weak, TELLBUS_tStatus status,
                 DBusMessage* answer);
    void tellLoss(std::vector<WatchedName> const& before);
    void tellOwner(std::vector<SubscriptionPtr> const& subscriptions, std::string const& name,
                   std::string const& before, std::string const& now) const;
    std::vector<SubscriptionPtr> listenersTo(DBusMessage* signal);

    void addMatch(std::string const& rule) REQUIRES(mOutbox->mutex());
    void removeMatch(std::string const& rule) REQUIRES(mOutbox->mutex());
    void removeMatchesOf(Subscription const& subscription) REQUIRES(mOutbox->mutex());
    void watchName(WatchedNamePtr const& watched) REQUIRES(mOutbox->mutex());

    std::shared_ptr<Outbox> const mOutbox;
    Subscriptions mSubscriptions GUARDED_BY(mOutbox->mutex());
    std::deque<EventLoop::Task> mUnsubscribed GUARDED_BY(mOutbox->mutex());
};

} // namespace tellbus
