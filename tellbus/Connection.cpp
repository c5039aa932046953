// Nothing moves through here but the ends: the outbox owns the link and what waits for answers, the
// services and subscriptions belong to those who hand out what arrives, and whoever keeps the
// handles owns the connection. A callback may let go of the last of them while a message is being
// handled, so the outbox is told of the connection by weak pointers only.
#include "tellbus/Connection.h"

#include "tellbus/Answer.h"
#include "tellbus/Status.h"

#include <utility>

namespace tellbus {

namespace {

/** How long a closing connection may take to send what is queued. */
constexpr std::chrono::seconds FLUSH_LIMIT{2};

} // namespace

std::shared_ptr<Connection> Connection::create(std::shared_ptr<EventLoop> loop, std::string address,
                                               Handles handles) {
    auto connection = std::make_shared<Connection>(std::move(loop), std::move(handles));
    connection->compose(std::move(address));
    return connection;
}

Connection::Connection(std::shared_ptr<EventLoop> loop, Handles handles)
    : mLoop(std::move(loop)), mHandles(std::move(handles)) {}

// The outbox outlives the connection where a message of it is being handled, and finds nobody then.
void Connection::compose(std::string address) {
    std::weak_ptr<Connection> const weak = weak_from_this();
    mOutbox = Outbox::create(mLoop, std::move(address));
    mSignals = std::make_shared<IncomingSignals>(mOutbox);
    mCalls = std::make_shared<IncomingCalls>(
        mOutbox, [weak, add = mHandles.add](std::shared_ptr<Request> const& request) {
            request->connection = weak;
            return add(request);
        });
    Outbox::Reactions reactions;
    reactions.onMessage = [weak](DBusMessage* message) {
        if (auto const self = weak.lock()) {
            self->onMessage(message);
        }
    };
    reactions.onConnected = [weak] {
        if (auto const self = weak.lock()) {
            self->mSignals->restore();
            self->mCalls->restore();
        }
    };
    reactions.onDisconnected = [weak]() -> EventLoop::Task {
        if (auto const self = weak.lock()) {
            return self->mSignals->loseOwners();
        }
        return [] {};
    };
    mOutbox->react(std::move(reactions));
}

void Connection::onMessage(DBusMessage* message) {
    switch (dbus_message_get_type(message)) {
    case DBUS_MESSAGE_TYPE_METHOD_CALL:
        return mCalls->onCall(message);
    case DBUS_MESSAGE_TYPE_SIGNAL:
        return mSignals->onSignal(message);
    default:
        return;
    }
}

TELLBUS_tStatus Connection::open() {
    TimePoint const deadline = answerDeadline();
    TELLBUS_tStatus const status = mOutbox->connect(deadline);
    if (failed(status)) {
        close(deadline);
    }
    return status;
}

TELLBUS_tStatus Connection::close(TimePoint deadline) {
    bool const onItsThread =
        mLoop->run([self = shared_from_this()] { self->cancelAll(); }, deadline);
    if (!onItsThread && !mLoop->hasStopped()) {
        mLoop->post([self = shared_from_this()] { self->flush(Clock::now() + FLUSH_LIMIT); });
        return TELLBUS_E_TIMEOUT;
    }
    if (!onItsThread) {
        cancelAll();
    }
    return flush(Clock::now() + FLUSH_LIMIT) ? TELLBUS_OK : TELLBUS_E_TIMEOUT;
}

void Connection::cancelAll() {
    mOutbox->close();
    mCalls->clear();
    mSignals->clear();
    mHandles.drop(shared_from_this());
    mSignals->finishUnsubscribes();
    mOutbox->failPending(TELLBUS_E_CLOSED);
}

bool Connection::flush(TimePoint deadline) {
    bool const flushed = mOutbox->flush(deadline);
    mHandles.closed(*this);
    return flushed;
}

TELLBUS_tStatus Connection::registerService(ServicePtr const& service) {
    TELLBUS_tStatus const status = mCalls->registerService(service);
    if (status == TELLBUS_E_TIMEOUT) {
        awaitCallback();
    }
    return status;
}

TELLBUS_tStatus Connection::unregisterService(ServicePtr const& service) {
    if (!mCalls->unregisterService(service)) {
        return TELLBUS_E_HANDLE;
    }
    return awaitCallback() ? TELLBUS_OK : TELLBUS_E_TIMEOUT;
}

/** Waits until the callback that runs is over, unless it is the caller's own. */
bool Connection::awaitCallback() {
    return mLoop->run([] {}, answerDeadline()) || mLoop->hasStopped();
}

TELLBUS_tStatus Connection::unsubscribe(SubscriptionPtr const& subscription, EventLoop::Task done) {
    TELLBUS_tStatus const status = mSignals->unsubscribe(subscription, std::move(done));
    if (!failed(status)) {
        mLoop->post([signals = mSignals] { signals->finishUnsubscribes(); });
    }
    return status;
}

TELLBUS_tStatus Connection::nameHasOwner(char const* name, bool& hasOwner) {
    using Found = std::pair<TELLBUS_tStatus, bool>;
    auto const answer = std::make_shared<Answer<Found>>();
    TimePoint const deadline = answerDeadline();
    TELLBUS_tStatus const sent =
        call(busCall("NameHasOwner", name), deadline,
             [answer](TELLBUS_tStatus status, DBusMessage* message) {
                 dbus_bool_t owned = FALSE;
                 if (!failed(status)
                     && !dbus_message_get_args(message, nullptr, DBUS_TYPE_BOOLEAN, &owned,
                                               DBUS_TYPE_INVALID)) {
                     status = TELLBUS_E_REPLY;
                 }
                 answer->set({status, owned != FALSE});
             });
    if (failed(sent)) {
        return sent;
    }
    auto const found = answer->waitUntil(deadline);
    hasOwner = found && found->second;
    return found ? found->first : TELLBUS_E_TIMEOUT;
}

} // namespace tellbus
