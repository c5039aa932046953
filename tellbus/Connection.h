#pragma once

#include "tellbus/Clock.h"
#include "tellbus/EventLoop.h"
#include "tellbus/IncomingCalls.h"
#include "tellbus/IncomingSignals.h"
#include "tellbus/Outbox.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace tellbus {

/**
 * One connection of a caller to the bus, through however many restarts of the bus: the outbox and
 * behind it those who take what others send, put together here.
 *
 * The words for an end, here and below: a caller closes a connection, which cancels what waits,
 * flushes what is queued and closes the link; the bus disconnects; the library shuts down, which
 * stops the thread; the end of the process aborts it.
 */
class Connection : public std::enable_shared_from_this<Connection> {
public:
    /** What the one who keeps the handles does about a connection. */
    struct Handles {
        std::function<void*(std::shared_ptr<Request> const&)> add;
        /** Makes every handle stale that belongs to the connection. */
        std::function<void(std::shared_ptr<Connection> const&)> drop;
        /** All that was sent has left, or could not. */
        std::function<void(Connection const&)> closed;
    };

    /** Not connected yet. @throws std::system_error without descriptors */
    static std::shared_ptr<Connection> create(std::shared_ptr<EventLoop> loop, std::string address,
                                              Handles handles);

    Connection(std::shared_ptr<EventLoop> loop, Handles handles);
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;

    /** Whether the caller is the library's thread, which must not wait for the bus. */
    bool onThread() const { return mLoop->onThread(); }

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
    TELLBUS_tStatus call(MessagePtr message, TimePoint deadline, ReplyHandler handler) {
        return mOutbox->call(std::move(message), deadline, std::move(handler));
    }

    /** Sends what nobody answers. */
    TELLBUS_tStatus send(MessagePtr message) { return mOutbox->send(std::move(message)); }

    /** Sends the answer to a request of the link it came through, and of no later one. */
    TELLBUS_tStatus answer(std::uint64_t generation, MessagePtr message) {
        return mOutbox->answer(generation, std::move(message));
    }

    /** Asks the bus for the name and waits for its answer. */
    TELLBUS_tStatus registerService(ServicePtr const& service);

    /** After this the service's callback neither runs nor is called. */
    TELLBUS_tStatus unregisterService(ServicePtr const& service);

    /** Gives a service's introspection data; false if it is no longer registered. */
    bool describe(ServicePtr const& service, std::string description) {
        return mCalls->describe(service, std::move(description));
    }

    /** Works without a bus too. */
    TELLBUS_tStatus subscribe(SubscriptionPtr const& subscription) {
        return mSignals->subscribe(subscription);
    }

    /**
     * Runs done on the library thread when no callback of the subscription can follow. Fails only
     * on a closed connection, and then never runs it.
     */
    TELLBUS_tStatus unsubscribe(SubscriptionPtr const& subscription, EventLoop::Task done);

    /** Asks the bus and waits for its answer. */
    TELLBUS_tStatus nameHasOwner(char const* name, bool& hasOwner);

private:
    void compose(std::string address);
    void onMessage(DBusMessage* message);
    void cancelAll();
    bool awaitCallback();

    std::shared_ptr<EventLoop> const mLoop;
    Handles const mHandles;
    std::shared_ptr<Outbox> mOutbox;
    std::shared_ptr<IncomingCalls> mCalls;
    std::shared_ptr<IncomingSignals> mSignals;
};

} // namespace tellbus
