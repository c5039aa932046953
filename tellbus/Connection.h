#pragma once

#include "tellbus/Answer.h"
#include "tellbus/Backoff.h"
#include "tellbus/BusLink.h"
#include "tellbus/Clock.h"
#include "tellbus/Complaints.h"
#include "tellbus/EventLoop.h"
#include "tellbus/Message.h"
#include "tellbus/PendingCalls.h"
#include "tellbus/Service.h"
#include "tellbus/Subscription.h"
#include "tellbus/Timer.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tellbus {

/**
 * One connection of a caller to the bus, through however many restarts of the bus.
 *
 * One mutex guards the link and the tables. It is held for a step that does not wait: to write one
 * message, to read what the socket holds, to look a name up. It is never held while a callback
 * runs. Whoever has a message to send writes it to the socket himself, so that it leaves at once
 * and costs no change of threads; what the socket does not take the library thread writes later.
 * All reading and every callback is on the library thread.
 */
class Connection : public std::enable_shared_from_this<Connection> {
public:
    /** Not connected yet. @throws std::system_error without descriptors */
    static std::shared_ptr<Connection> create(std::shared_ptr<EventLoop> loop, std::string address);

    /** Whether the caller is the library's thread, which must not wait for the bus. */
    bool onThread() const { return mLoop->onThread(); }

    Connection(std::shared_ptr<EventLoop> loop, std::string address);
    ~Connection();
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;

    /** Connects and waits for the bus to say hello. On failure the connection is closed. */
    TELLBUS_tStatus open();

    /**
     * Fails what is pending, sends what is queued and waits until no callback runs any more. In a
     * callback it does not wait for that callback. Fails with TELLBUS_E_TIMEOUT if a callback or
     * the bus takes too long; the connection is closed then as soon as the callback is over.
     */
    TELLBUS_tStatus close(TimePoint deadline = answerDeadline());

    /**
     * Lets what is queued leave, without any callback.
     * @return false if the bus has not taken all of it by the deadline
     */
    bool flush(TimePoint deadline);

    /** Sends a call; the handler gets the answer, exactly once if the status is no failure. */
    TELLBUS_tStatus call(MessagePtr message, TimePoint deadline, ReplyHandler handler);

    /** Sends what nobody answers. */
    TELLBUS_tStatus send(MessagePtr message);

    /** Sends the answer to a request of the link it came through, and of no later one. */
    TELLBUS_tStatus answer(std::uint64_t generation, MessagePtr message);

    /** Asks the bus for the name and waits for its answer. */
    TELLBUS_tStatus registerService(ServicePtr const& service);

    /** After this the service's callback neither runs nor is called. */
    TELLBUS_tStatus unregisterService(ServicePtr const& service);

    /** Gives a service's introspection data; false if it is no longer registered. */
    bool describe(ServicePtr const& service, std::string description);

    /** Works without a bus too. */
    TELLBUS_tStatus subscribe(SubscriptionPtr const& subscription);

    /**
     * Runs done on the library thread when no callback of the subscription can follow. Fails only
     * on a closed connection, and then never runs it.
     */
    TELLBUS_tStatus unsubscribe(SubscriptionPtr const& subscription, EventLoop::Task done);

    /** Asks the bus and waits for its answer. */
    TELLBUS_tStatus nameHasOwner(char const* name, bool& hasOwner);

private:
    enum class State {
        Away,      ///< no link, or one that the bus has not said hello to
        Connected, ///< messages may be sent
        Closed,    ///< for good
    };

    void start();

    // On the library thread, without the mutex.
    void onReady(std::uint32_t events);
    void onTimer();
    MessagePtr firstMessage(std::uint32_t events);
    MessagePtr nextMessage(MessagePtr before);
    void handle(DBusMessage* message);
    void onCall(DBusMessage* message);
    void onServiceCall(ServicePtr const& service, std::uint64_t generation, DBusMessage* message);
    void onPeerCall(DBusMessage* message);
    void onIntrospectCall(DBusMessage* message);
    void onAnswer(DBusMessage* message);
    void onSignal(DBusMessage* message);
    void onOwnerChanged(DBusMessage* message);
    void onOwner(std::weak_ptr<WatchedName> const& weak, TELLBUS_tStatus status,
                 DBusMessage* answer);
    TELLBUS_tStatus onNameAnswer(ServicePtr const& service, TELLBUS_tStatus status);
    void connect();
    void onHello(TELLBUS_tStatus status);
    void onDisconnected();
    void cancelAll();
    template <class Take>
    void failEach(TELLBUS_tStatus status, Take take);
    void finishUnsubscribes();
    void refuse(DBusMessage* call, char const* errorName, std::string const& text);
    void refuseUnknownPath(DBusMessage* call);
    void tellOwner(std::vector<SubscriptionPtr> const& subscriptions, std::string const& name,
                   std::string const& before, std::string const& now) const;
    bool mayCall() const { return !mLoop->isAborted(); }

    // With the mutex held.
    TELLBUS_tStatus sendable() const;
    TELLBUS_tStatus transmit(DBusMessage* message);
    TELLBUS_tStatus transmit(DBusMessage* message, TimePoint deadline, ReplyHandler handler);
    void reportIfBroken();
    MessagePtr takeMessage(MessagePtr before);
    void addMatch(std::string const& rule);
    void removeMatch(std::string const& rule);
    void watchName(WatchedNamePtr const& watched);
    void restore();
    void retryLater();
    void settleTimer();
    void releaseIfUnused(std::string const& name);
    std::vector<SubscriptionPtr> listenersTo(DBusMessage* signal);

    std::shared_ptr<EventLoop> const mLoop;
    std::string const mAddress;
    std::uint64_t mHandlerId = 0;

    std::mutex mFlushing; ///< held while the link is flushed; before mMutex
    bool mFlushed = true;   ///< whether all that was sent has left; guarded by mFlushing
    std::mutex mMutex;
    State mState = State::Away;
    std::uint64_t mGeneration = 0; ///< counts the links
    std::unique_ptr<BusLink> mLink;
    std::unique_ptr<Timer> mTimer;
    std::optional<TimePoint> mRetryAt;
    TimePoint mConnectedSince;
    Backoff mBackoff;
    PendingCalls mPending;
    Services mServices;
    Subscriptions mSubscriptions;
    std::deque<EventLoop::Task> mUnsubscribed;         ///< what has to be told still
    std::shared_ptr<Answer<TELLBUS_tStatus>> mConnecting; ///< who waits in open()
};

} // namespace tellbus
