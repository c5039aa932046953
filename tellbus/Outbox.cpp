// What moves through here are messages, in two directions.
//
// Out: the thread that has something to say takes the mutex, libdbus gives the message its serial
// and writes it to the socket, and a call leaves its handler in mPending under that serial. The
// message is the caller's again when the mutex is free; libdbus keeps what the socket did not take.
//
// In: the loop wakes the library thread with onReady(), which takes one message at a time out of
// the link under the mutex and handles it without: an answer goes to the handler that waits for it,
// anything else to the reaction. The message belongs to that loop until the next one is taken,
// since libdbus does not read on while one is out.
//
// Handlers are taken out of mPending before they run, and so run once, whoever comes first: the
// answer, the timer, the loss of the link or the close. The link belongs to the outbox; it goes in
// onDisconnected() on the library thread, or in flush() on the thread that closes. The timer holds
// the earliest moment at which a call expires or the bus is tried again, and is set only when that
// changes, as each setting is a system call.
#include "tellbus/Outbox.h"

#include "tellbus/Complaints.h"
#include "tellbus/Contained.h"
#include "tellbus/HandOver.h"
#include "tellbus/Status.h"

#include <utility>

namespace tellbus {

namespace {

/** What may wait for a bus that does not read: as much as the largest message of D-Bus. */
constexpr std::size_t QUEUE_LIMIT = DBUS_MAXIMUM_MESSAGE_LENGTH;

constexpr std::chrono::seconds HELLO_LIMIT{5};

/** A bus that has been there for so long is worth coming back to at once. */
constexpr std::chrono::seconds STEADY{1};

} // namespace

std::shared_ptr<Outbox> Outbox::create(std::shared_ptr<EventLoop> loop, std::string address) {
    auto outbox = std::make_shared<Outbox>(std::move(loop), std::move(address));
    outbox->attach();
    return outbox;
}

Outbox::Outbox(std::shared_ptr<EventLoop> loop, std::string address)
    : mLoop(std::move(loop)), mAddress(std::move(address)) {}

Outbox::~Outbox() {
    mLoop->detach(mHandlerId);
}

void Outbox::attach() {
    std::weak_ptr<Outbox> const weak = weak_from_this();
    mHandlerId = mLoop->attach([weak](std::uint32_t events) {
        if (auto const self = weak.lock()) {
            self->onReady(events);
        }
    });
    MutexLock const lock(mMutex);
    mTimer = std::make_unique<Timer>(mLoop, [weak] {
        if (auto const self = weak.lock()) {
            self->onTimer();
        }
    });
}

// ---- coming and going of the bus

TELLBUS_tStatus Outbox::connect(TimePoint deadline) {
    auto const connecting = std::make_shared<Answer<TELLBUS_tStatus>>();
    {
        MutexLock const lock(mMutex);
        if (mState == State::Closed) {
            return TELLBUS_E_CLOSED;
        }
        mConnecting = connecting;
    }
    if (!mLoop->run([self = shared_from_this()] { self->link(); }, deadline)) {
        return mLoop->hasStopped() ? TELLBUS_E_CLOSED : TELLBUS_E_TIMEOUT;
    }
    return connecting->waitUntil(deadline).value_or(TELLBUS_E_TIMEOUT);
}

void Outbox::link() {
    mLoop->assertOnThread();
    std::string problem;
    auto link = BusLink::open(mLoop, mHandlerId, mAddress, problem);
    MutexLock const lock(mMutex);
    if (mState == State::Closed) {
        return;
    }
    if (!link) {
        return retryLater();
    }
    mLink = std::move(link);
    ++mGeneration;
    transmit(busCall("Hello").get(), Clock::now() + HELLO_LIMIT,
             [self = shared_from_this()](TELLBUS_tStatus status, DBusMessage*) {
                 self->onHello(status);
             });
}

void Outbox::onHello(TELLBUS_tStatus status) {
    if (failed(status)) {
        return onDisconnected();
    }
    MutexLock const lock(mMutex);
    if (mState == State::Closed) {
        return;
    }
    mState = State::Connected;
    mConnectedSince = Clock::now();
    mReactions.onConnected();
    finishConnecting(TELLBUS_OK);
}

void Outbox::onDisconnected() {
    std::unique_ptr<BusLink> link;
    EventLoop::Task afterwards;
    bool wasConnected = false;
    {
        MutexLock const lock(mMutex);
        if (mState == State::Closed || !mLink) {
            return;
        }
        wasConnected = std::exchange(mState, State::Away) == State::Connected;
        if (wasConnected && Clock::now() - mConnectedSince >= STEADY) {
            mBackoff.reset();
        }
        link = std::move(mLink);
        afterwards = mReactions.onDisconnected();
        retryLater();
    }
    link.reset();
    if (wasConnected) {
        complain(Complaint::BusGone, mAddress);
    }
    failPending(TELLBUS_E_DISCONNECTED);
    afterwards();
}

void Outbox::retryLater() {
    if (mConnecting) {
        return finishConnecting(TELLBUS_E_NO_BUS);
    }
    mRetryAt = Clock::now() + mBackoff.next();
    settleTimer();
}

void Outbox::finishConnecting(TELLBUS_tStatus status) {
    if (mConnecting) {
        std::exchange(mConnecting, nullptr)->set(status);
    }
}

void Outbox::close() {
    {
        MutexLock const lock(mMutex);
        mState = State::Closed;
        mRetryAt.reset();
        mTimer.reset();
        finishConnecting(TELLBUS_E_CLOSED);
    }
    mLoop->detach(mHandlerId);
}

// A second caller waits until the first has flushed: the process must not end before that.
bool Outbox::flush(TimePoint deadline) {
    MutexLock const one(mFlushing);
    std::unique_ptr<BusLink> link;
    {
        MutexLock const lock(mMutex);
        mState = State::Closed;
        link = std::move(mLink);
        if (link) {
            link->stopReceiving();
        }
    }
    if (link) {
        mFlushed = link->flushAndClose(deadline);
    }
    return mFlushed;
}

// ---- sending, on any thread

TELLBUS_tStatus Outbox::call(MessagePtr message, TimePoint deadline, ReplyHandler handler) {
    handOver();
    MutexLock const lock(mMutex);
    TELLBUS_tStatus const status = sendable();
    return failed(status) ? status : transmit(message.get(), deadline, std::move(handler));
}

TELLBUS_tStatus Outbox::send(MessagePtr message) {
    handOver();
    MutexLock const lock(mMutex);
    TELLBUS_tStatus const status = sendable();
    return failed(status) ? status : transmit(message.get());
}

TELLBUS_tStatus Outbox::answer(std::uint64_t generation, MessagePtr message) {
    handOver();
    MutexLock const lock(mMutex);
    TELLBUS_tStatus const status = sendable();
    if (failed(status)) {
        return status;
    }
    // Another bus knows nobody of that caller's name, or somebody else.
    return generation == mGeneration ? transmit(message.get()) : TELLBUS_E_DISCONNECTED;
}

TELLBUS_tStatus Outbox::sendable() const {
    if (mState != State::Connected) {
        return mState == State::Closed ? TELLBUS_E_CLOSED : TELLBUS_E_DISCONNECTED;
    }
    return mLink->queued() < QUEUE_LIMIT ? TELLBUS_OK : TELLBUS_E_QUEUE_FULL;
}

TELLBUS_tStatus Outbox::transmit(DBusMessage* message) {
    if (mLink->send(message) == 0) {
        return TELLBUS_E_MEMORY;
    }
    reportIfBroken();
    return TELLBUS_OK;
}

TELLBUS_tStatus Outbox::transmit(DBusMessage* message, TimePoint deadline, ReplyHandler handler) {
    dbus_uint32_t const serial = mLink->send(message);
    if (serial == 0) {
        return TELLBUS_E_MEMORY;
    }
    mPending.add(serial, std::move(handler), deadline,
                 orEmpty(dbus_message_get_destination(message)));
    if (deadline != TimePoint::max()) {
        mTimer->notLaterThan(deadline);
    }
    reportIfBroken();
    return TELLBUS_OK;
}

/** A link that breaks while we write leaves the epoll set: nothing else wakes the library thread.
 */
void Outbox::reportIfBroken() {
    if (!mLink->isConnected()) {
        mLoop->post([self = shared_from_this()] { self->onReady(0); });
    }
}

// ---- the library thread

void Outbox::onReady(std::uint32_t events) {
    mLoop->assertOnThread();
    for (MessagePtr message = firstMessage(events); message;
         message = nextMessage(std::move(message))) {
        handOver();
        if (mayCall()) {
            contained([&] { handle(message.get()); });
        }
    }
}

MessagePtr Outbox::firstMessage(std::uint32_t events) {
    MutexLock const lock(mMutex);
    if (mLink) {
        mLink->ready(events);
    }
    return takeMessage(nullptr);
}

MessagePtr Outbox::nextMessage(MessagePtr before) {
    MutexLock const lock(mMutex);
    return takeMessage(std::move(before));
}

MessagePtr Outbox::takeMessage(MessagePtr before) {
    MessagePtr message = mLink && mayCall() ? mLink->next(std::move(before)) : nullptr;
    if (!message) {
        settleTimer();
    }
    return message;
}

void Outbox::handle(DBusMessage* message) {
    switch (dbus_message_get_type(message)) {
    case DBUS_MESSAGE_TYPE_METHOD_RETURN:
    case DBUS_MESSAGE_TYPE_ERROR:
        return onAnswer(message);
    case DBUS_MESSAGE_TYPE_SIGNAL:
        if (dbus_message_is_signal(message, DBUS_INTERFACE_LOCAL, "Disconnected")) {
            return onDisconnected();
        }
        break;
    default:
        break;
    }
    mReactions.onMessage(message);
}

void Outbox::onAnswer(DBusMessage* message) {
    ReplyHandler handler;
    bool forged = false;
    {
        MutexLock const lock(mMutex);
        dbus_uint32_t const serial = dbus_message_get_reply_serial(message);
        forged = mPending.isForged(serial, orEmpty(dbus_message_get_sender(message)));
        handler = forged ? nullptr : mPending.take(serial);
    }
    if (forged) {
        complain(Complaint::ForgedReply, describeMessage(message));
    } else if (handler) {
        handler(statusOf(message), message);
    }
}

void Outbox::onTimer() {
    mLoop->assertOnThread();
    TimePoint const now = Clock::now();
    bool retry = false;
    {
        MutexLock const lock(mMutex);
        if (!mTimer) {
            return;
        }
        mTimer->expired();
        retry = mRetryAt && *mRetryAt <= now;
        if (retry) {
            mRetryAt.reset();
        }
    }
    failExpired(now);
    if (retry) {
        link();
    }
    MutexLock const lock(mMutex);
    settleTimer();
}

void Outbox::settleTimer() {
    if (!mTimer) {
        return;
    }
    auto next = mPending.earliest();
    if (mRetryAt && (!next || *mRetryAt < *next)) {
        next = mRetryAt;
    }
    mTimer->set(next);
}

// One handler after the other, so that those which are left when one of them closes the connection
// are found by that, and are over before it returns.

void Outbox::failPending(TELLBUS_tStatus status) {
    ReplyHandler handler;
    do {
        MutexLock const lock(mMutex);
        handler = mPending.takeFirst();
    } while (fail(status, std::move(handler)));
}

void Outbox::failExpired(TimePoint now) {
    ReplyHandler handler;
    do {
        MutexLock const lock(mMutex);
        handler = mPending.takeExpired(now);
    } while (fail(TELLBUS_E_TIMEOUT, std::move(handler)));
}

/** False if there was nothing to fail, or no callback may begin. */
bool Outbox::fail(TELLBUS_tStatus status, ReplyHandler handler) const {
    if (!handler || !mayCall()) {
        return false;
    }
    contained([&] { handler(status, nullptr); });
    return true;
}

} // namespace tellbus
