#include "tellbus/Connection.h"

#include "tellbus/Contained.h"
#include "tellbus/HandOver.h"
#include "tellbus/Handles.h"
#include "tellbus/Introspection.h"
#include "tellbus/Request.h"
#include "tellbus/Status.h"
#include "tellbus/Validate.h"

#include <cstring>
#include <utility>

namespace tellbus {

namespace {

/** What may wait for a bus that does not read: as much as the largest message of D-Bus. */
constexpr std::size_t QUEUE_LIMIT = DBUS_MAXIMUM_MESSAGE_LENGTH;

/** How long a closing connection may take to send what is queued. */
constexpr std::chrono::seconds FLUSH_LIMIT{2};

constexpr std::chrono::seconds HELLO_LIMIT{5};

/** A bus that has been there for so long is worth coming back to at once. */
constexpr std::chrono::seconds STEADY{1};

bool isFrom(DBusMessage* message, char const* sender) {
    return std::strcmp(orEmpty(dbus_message_get_sender(message)), sender) == 0;
}

/** Enough of a path to know it; one from the bus may be as long as a message. */
std::string shortened(char const* path) {
    constexpr std::size_t ENOUGH = 200;
    std::string_view const whole = path;
    return std::string(whole.substr(0, ENOUGH)) + (whole.size() > ENOUGH ? "..." : "");
}

std::string describeMessage(DBusMessage* message) {
    return shortened(orEmpty(dbus_message_get_path(message))) + " "
           + orEmpty(dbus_message_get_member(message)) + " from "
           + orEmpty(dbus_message_get_sender(message));
}

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

} // namespace

std::shared_ptr<Connection> Connection::create(std::shared_ptr<EventLoop> loop,
                                               std::string address) {
    auto connection = std::make_shared<Connection>(std::move(loop), std::move(address));
    connection->start();
    return connection;
}

Connection::Connection(std::shared_ptr<EventLoop> loop, std::string address)
    : mLoop(std::move(loop)), mAddress(std::move(address)) {}

Connection::~Connection() {
    mLoop->detach(mHandlerId);
}

void Connection::start() {
    std::weak_ptr<Connection> const weak = shared_from_this();
    mTimer = std::make_unique<Timer>(mLoop, [weak] {
        if (auto const self = weak.lock()) {
            self->onTimer();
        }
    });
    mHandlerId = mLoop->attach([weak](std::uint32_t events) {
        if (auto const self = weak.lock()) {
            self->onReady(events);
        }
    });
}

TELLBUS_tStatus Connection::open() {
    TimePoint const deadline = answerDeadline();
    auto const connecting = std::make_shared<Answer<TELLBUS_tStatus>>();
    {
        std::lock_guard const lock(mMutex);
        if (mState == State::Closed) {
            return TELLBUS_E_CLOSED;
        }
        mConnecting = connecting;
    }
    bool const begun = mLoop->run([self = shared_from_this()] { self->connect(); }, deadline);
    TELLBUS_tStatus status = mLoop->hasStopped() ? TELLBUS_E_CLOSED : TELLBUS_E_TIMEOUT;
    if (begun) {
        status = connecting->waitUntil(deadline).value_or(TELLBUS_E_TIMEOUT);
    }
    if (failed(status)) {
        close(deadline);
    }
    return status;
}

TELLBUS_tStatus Connection::close(TimePoint deadline) {
    bool const onItsThread = mLoop->run([self = shared_from_this()] { self->cancelAll(); }, deadline);
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
    {
        std::lock_guard const lock(mMutex);
        mState = State::Closed;
        mRetryAt.reset();
        mTimer.reset();
        if (mConnecting) {
            std::exchange(mConnecting, nullptr)->set(TELLBUS_E_CLOSED);
        }
        mServices.clear();
        mSubscriptions.clear();
    }
    mLoop->detach(mHandlerId);
    dropHandlesOf(shared_from_this());
    finishUnsubscribes();
    failEach(TELLBUS_E_CLOSED, [this] { return mPending.takeFirst(); });
}

/**
 * Takes one handler after the other, so that those which are left when one of them closes the
 * connection are found by that, and are over before it returns.
 */
template <class Take>
void Connection::failEach(TELLBUS_tStatus status, Take take) {
    for (;;) {
        ReplyHandler handler;
        {
            std::lock_guard const lock(mMutex);
            handler = take();
        }
        if (!handler || !mayCall()) {
            return;
        }
        contained([&] { handler(status, nullptr); });
    }
}

// Whoever comes while another flushes waits for it: a process must not end meanwhile.
bool Connection::flush(TimePoint deadline) {
    std::lock_guard const one(mFlushing);
    std::unique_ptr<BusLink> link;
    {
        std::lock_guard const lock(mMutex);
        mState = State::Closed;
        link = std::move(mLink);
        if (link) {
            link->stopReceiving();
        }
    }
    if (link) {
        mFlushed = link->flushAndClose(deadline);
    }
    handles().closing.takeIf([this](Connection const& other) { return &other == this; });
    return mFlushed;
}

// ---- sending, on any thread

TELLBUS_tStatus Connection::call(MessagePtr message, TimePoint deadline, ReplyHandler handler) {
    handOver();
    std::lock_guard const lock(mMutex);
    TELLBUS_tStatus const status = sendable();
    return failed(status) ? status : transmit(message.get(), deadline, std::move(handler));
}

TELLBUS_tStatus Connection::send(MessagePtr message) {
    handOver();
    std::lock_guard const lock(mMutex);
    TELLBUS_tStatus const status = sendable();
    return failed(status) ? status : transmit(message.get());
}

TELLBUS_tStatus Connection::answer(std::uint64_t generation, MessagePtr message) {
    handOver();
    std::lock_guard const lock(mMutex);
    TELLBUS_tStatus const status = sendable();
    if (failed(status)) {
        return status;
    }
    // Another bus knows nobody of that caller's name, or somebody else.
    return generation == mGeneration ? transmit(message.get()) : TELLBUS_E_DISCONNECTED;
}

TELLBUS_tStatus Connection::sendable() const {
    if (mState != State::Connected) {
        return mState == State::Closed ? TELLBUS_E_CLOSED : TELLBUS_E_DISCONNECTED;
    }
    return mLink->queued() < QUEUE_LIMIT ? TELLBUS_OK : TELLBUS_E_QUEUE_FULL;
}

TELLBUS_tStatus Connection::transmit(DBusMessage* message) {
    if (mLink->send(message) == 0) {
        return TELLBUS_E_MEMORY;
    }
    reportIfBroken();
    return TELLBUS_OK;
}

TELLBUS_tStatus Connection::transmit(DBusMessage* message, TimePoint deadline,
                                     ReplyHandler handler) {
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
void Connection::reportIfBroken() {
    if (!mLink->isConnected()) {
        mLoop->post([self = shared_from_this()] { self->onReady(0); });
    }
}

// ---- the library thread

void Connection::onReady(std::uint32_t events) {
    for (MessagePtr message = firstMessage(events); message;
         message = nextMessage(std::move(message))) {
        handOver();
        if (mayCall()) {
            contained([&] { handle(message.get()); });
        }
    }
}

MessagePtr Connection::firstMessage(std::uint32_t events) {
    std::lock_guard const lock(mMutex);
    if (mLink) {
        mLink->ready(events);
    }
    return takeMessage(nullptr);
}

MessagePtr Connection::nextMessage(MessagePtr before) {
    std::lock_guard const lock(mMutex);
    return takeMessage(std::move(before));
}

MessagePtr Connection::takeMessage(MessagePtr before) {
    MessagePtr message = mLink && mayCall() ? mLink->next(std::move(before)) : nullptr;
    if (!message) {
        settleTimer();
    }
    return message;
}

void Connection::onTimer() {
    TimePoint const now = Clock::now();
    bool retry = false;
    {
        std::lock_guard const lock(mMutex);
        if (!mTimer) {
            return;
        }
        mTimer->expired();
        retry = mRetryAt && *mRetryAt <= now;
        if (retry) {
            mRetryAt.reset();
        }
    }
    failEach(TELLBUS_E_TIMEOUT, [&] { return mPending.takeExpired(now); });
    if (retry) {
        connect();
    }
    std::lock_guard const lock(mMutex);
    settleTimer();
}

void Connection::settleTimer() {
    if (!mTimer) {
        return;
    }
    auto next = mPending.earliest();
    if (mRetryAt && (!next || *mRetryAt < *next)) {
        next = mRetryAt;
    }
    mTimer->set(next);
}

void Connection::handle(DBusMessage* message) {
    switch (dbus_message_get_type(message)) {
    case DBUS_MESSAGE_TYPE_METHOD_CALL:
        return onCall(message);
    case DBUS_MESSAGE_TYPE_METHOD_RETURN:
    case DBUS_MESSAGE_TYPE_ERROR:
        return onAnswer(message);
    case DBUS_MESSAGE_TYPE_SIGNAL:
        return onSignal(message);
    default:
        return;
    }
}

void Connection::onAnswer(DBusMessage* message) {
    ReplyHandler handler;
    bool forged = false;
    {
        std::lock_guard const lock(mMutex);
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

// ---- calls from others

void Connection::onCall(DBusMessage* message) {
    if (dbus_message_has_interface(message, DBUS_INTERFACE_PEER)) {
        return onPeerCall(message);
    }
    if (dbus_message_has_interface(message, DBUS_INTERFACE_INTROSPECTABLE)) {
        return onIntrospectCall(message);
    }
    std::string_view const path = orEmpty(dbus_message_get_path(message));
    ServicePtr service;
    std::uint64_t generation = 0;
    bool isNode = false;
    {
        std::lock_guard const lock(mMutex);
        service = mServices.route(path, orEmpty(dbus_message_get_destination(message)));
        generation = mGeneration;
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

void Connection::onServiceCall(ServicePtr const& service, std::uint64_t generation,
                               DBusMessage* message) {
    Argument const argument = argumentOf(message);
    if (!argument.valid) {
        return refuse(message, DBUS_ERROR_INVALID_ARGS, "One string or nothing is expected");
    }
    auto const request = std::make_shared<Request>();
    request->connection = weak_from_this();
    request->generation = generation;
    request->caller = returnAddressOf(message);
    request->noReply = dbus_message_get_no_reply(message);
    handOver();
    service->callback(handles().requests.add(request), dbus_message_get_member(message),
                      argument.text, request->noReply ? 1 : 0, service->cookie);
}

void Connection::onPeerCall(DBusMessage* message) {
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
        send(reply(returnAddressOf(message), machine.get()));
    }
}

void Connection::onIntrospectCall(DBusMessage* message) {
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
        std::lock_guard const lock(mMutex);
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
        send(reply(returnAddressOf(message), data.c_str()));
    }
}

void Connection::refuse(DBusMessage* call, char const* errorName, std::string const& text) {
    if (dbus_message_get_no_reply(call)) {
        return complain(Complaint::BadCall, describeMessage(call) + ": " + text);
    }
    send(errorReply(returnAddressOf(call), errorName, text.c_str()));
}

void Connection::refuseUnknownPath(DBusMessage* call) {
    refuse(call, DBUS_ERROR_UNKNOWN_OBJECT,
           "No such object: " + shortened(orEmpty(dbus_message_get_path(call))));
}

// ---- services

TELLBUS_tStatus Connection::registerService(ServicePtr const& service) {
    auto const answer = std::make_shared<Answer<TELLBUS_tStatus>>();
    TimePoint const deadline = answerDeadline();
    {
        std::lock_guard const lock(mMutex);
        TELLBUS_tStatus status = sendable();
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
        status = transmit(request.get(), deadline,
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
        std::lock_guard const lock(mMutex);
        mServices.remove(service);
        releaseIfUnused(service->name);
    }
    return status.value_or(TELLBUS_E_TIMEOUT);
}

TELLBUS_tStatus Connection::onNameAnswer(ServicePtr const& service, TELLBUS_tStatus status) {
    std::lock_guard const lock(mMutex);
    if (!mServices.contains(service)) {
        // The connection was closed, or whoever registered has given up waiting.
        return failed(status) ? status : TELLBUS_E_TIMEOUT;
    }
    service->named = !failed(status);
    if (!service->named) {
        mServices.remove(service);
        // The bus may have queued us for it.
        releaseIfUnused(service->name);
    }
    return status;
}

TELLBUS_tStatus Connection::unregisterService(ServicePtr const& service) {
    {
        std::lock_guard const lock(mMutex);
        if (!mServices.remove(service)) {
            return TELLBUS_E_HANDLE;
        }
        releaseIfUnused(service->name);
    }
    bool const past = mLoop->run([] {}, answerDeadline()) || mLoop->hasStopped();
    return past ? TELLBUS_OK : TELLBUS_E_TIMEOUT;
}

void Connection::releaseIfUnused(std::string const& name) {
    if (mState == State::Connected && !mServices.hasName(name)) {
        MessagePtr const release = busCall("ReleaseName", name.c_str());
        dbus_message_set_no_reply(release.get(), TRUE);
        transmit(release.get());
    }
}

bool Connection::describe(ServicePtr const& service, std::string description) {
    std::lock_guard const lock(mMutex);
    service->description = std::move(description);
    return mServices.contains(service);
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

// ---- subscriptions

// The bus handles what we send in its order: it tells every change of the name's owner before it
// tells who owns it, and that before the first signal. So the owner is known for each signal.
TELLBUS_tStatus Connection::subscribe(SubscriptionPtr const& subscription) {
    handOver();
    std::lock_guard const lock(mMutex);
    if (TELLBUS_tStatus const status = sendable(); failed(status) && mState != State::Away) {
        return status;
    }
    bool const knownName = mSubscriptions.watched(subscription->name) != nullptr;
    bool const knownSignal =
        !mSubscriptions.forSignal(subscription->path, subscription->member).empty();
    mSubscriptions.add(subscription);
    auto const watched = mSubscriptions.watched(subscription->name);
    if (mState != State::Connected) {
        watched->announce = true;
        return TELLBUS_OK;
    }
    if (!knownName) {
        watchName(watched);
    }
    if (subscription->onSignal && !knownSignal) {
        addMatch(signalRule(*subscription));
    }
    return TELLBUS_OK;
}

TELLBUS_tStatus Connection::unsubscribe(SubscriptionPtr const& subscription, EventLoop::Task done) {
    subscription->live = false;
    {
        std::lock_guard const lock(mMutex);
        if (mState == State::Closed) {
            return TELLBUS_E_HANDLE;
        }
        mUnsubscribed.push_back(std::move(done));
        bool const was = mSubscriptions.remove(subscription);
        if (was && mState == State::Connected) {
            if (subscription->onSignal
                && mSubscriptions.forSignal(subscription->path, subscription->member).empty()) {
                removeMatch(signalRule(*subscription));
            }
            if (!mSubscriptions.watched(subscription->name)) {
                removeMatch(ownerRule(subscription->name));
            }
        }
    }
    mLoop->post([self = shared_from_this()] { self->finishUnsubscribes(); });
    return TELLBUS_OK;
}

void Connection::finishUnsubscribes() {
    for (;;) {
        EventLoop::Task done;
        {
            std::lock_guard const lock(mMutex);
            if (mUnsubscribed.empty() || !mayCall()) {
                return;
            }
            done = std::move(mUnsubscribed.front());
            mUnsubscribed.pop_front();
        }
        handOver();
        contained(done);
    }
}

void Connection::addMatch(std::string const& rule) {
    transmit(busCall("AddMatch", rule.c_str()).get(), TimePoint::max(),
             [rule](TELLBUS_tStatus status, DBusMessage* answer) {
                 if (failed(status) && answer) {
                     complain(Complaint::MatchRule, rule);
                 }
             });
}

void Connection::removeMatch(std::string const& rule) {
    MessagePtr const message = busCall("RemoveMatch", rule.c_str());
    dbus_message_set_no_reply(message.get(), TRUE);
    transmit(message.get());
}

void Connection::watchName(WatchedNamePtr const& watched) {
    addMatch(ownerRule(watched->name));
    std::weak_ptr<WatchedName> const weak = watched;
    transmit(busCall("GetNameOwner", watched->name.c_str()).get(), TimePoint::max(),
             [self = shared_from_this(), weak](TELLBUS_tStatus status, DBusMessage* answer) {
                 self->onOwner(weak, status, answer);
             });
}

// The bus answers in its order, so its answer is newer than every change that was read before it.
// Such a change may even be older than the subscription, left in the socket by an earlier one.
void Connection::onOwner(std::weak_ptr<WatchedName> const& weak, TELLBUS_tStatus status,
                         DBusMessage* answer) {
    std::vector<SubscriptionPtr> told;
    std::string before;
    std::string now;
    auto const watched = weak.lock();
    {
        std::lock_guard const lock(mMutex);
        if (!watched || !answer) {
            return;
        }
        watched->resolved = true;
        before = watched->owner;
        if (!failed(status) || status == TELLBUS_E_NO_SERVICE) {
            watched->owner = failed(status) ? "" : orEmpty(argumentOf(answer).text);
        }
        now = watched->owner;
        if (watched->announce && now != before) {
            told = mSubscriptions.forOwner(watched->name);
        }
    }
    tellOwner(told, watched->name, before, now);
}

void Connection::onSignal(DBusMessage* message) {
    if (dbus_message_is_signal(message, DBUS_INTERFACE_LOCAL, "Disconnected")) {
        return onDisconnected();
    }
    if (dbus_message_is_signal(message, DBUS_INTERFACE_DBUS, "NameOwnerChanged")
        && isFrom(message, DBUS_SERVICE_DBUS)) {
        onOwnerChanged(message);
    }
    auto const listeners = listenersTo(message);
    if (listeners.empty()) {
        return;
    }
    Argument const argument = argumentOf(message);
    if (!argument.valid) {
        return complain(Complaint::BadSignal, describeMessage(message));
    }
    for (auto const& subscription : listeners) {
        if (subscription->live && mayCall()) {
            handOver();
            contained([&] {
                subscription->onSignal(dbus_message_get_member(message), orEmpty(argument.text),
                                       subscription->cookie);
            });
        }
    }
}

std::vector<SubscriptionPtr> Connection::listenersTo(DBusMessage* signal) {
    {
        std::lock_guard const lock(mMutex);
        auto listeners = mSubscriptions.forSignal(orEmpty(dbus_message_get_path(signal)),
                                                  orEmpty(dbus_message_get_member(signal)));
        if (listeners.empty()) {
            return listeners;
        }
        // The same path spells the same name for all of them.
        auto const watched = mSubscriptions.watched(listeners.front()->name);
        if (watched->resolved && isFrom(signal, watched->owner.c_str())) {
            return listeners;
        }
    }
    complain(Complaint::ForgedSignal, describeMessage(signal));
    return {};
}

void Connection::onOwnerChanged(DBusMessage* message) {
    char const* name = nullptr;
    char const* before = nullptr;
    char const* now = nullptr;
    if (!dbus_message_get_args(message, nullptr, DBUS_TYPE_STRING, &name, DBUS_TYPE_STRING, &before,
                               DBUS_TYPE_STRING, &now, DBUS_TYPE_INVALID)) {
        return complain(Complaint::BadSignal, describeMessage(message));
    }
    std::vector<SubscriptionPtr> told;
    {
        std::lock_guard const lock(mMutex);
        auto const watched = mSubscriptions.watched(name);
        if (!watched || ((watched->resolved || watched->announce) && watched->owner == now)) {
            return;
        }
        watched->owner = now;
        watched->announce = true;
        told = mSubscriptions.forOwner(name);
    }
    tellOwner(told, name, before, now);
}

void Connection::tellOwner(std::vector<SubscriptionPtr> const& subscriptions,
                           std::string const& name, std::string const& before,
                           std::string const& now) const {
    for (auto const& subscription : subscriptions) {
        if (subscription->live && mayCall()) {
            handOver();
            contained([&] {
                subscription->onOwner(name.c_str(), before.c_str(), now.c_str(),
                                      subscription->cookie);
            });
        }
    }
}

// ---- coming and going of the bus

void Connection::connect() {
    std::string problem;
    auto link = BusLink::open(mLoop, mHandlerId, mAddress, problem);
    std::lock_guard const lock(mMutex);
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

void Connection::onHello(TELLBUS_tStatus status) {
    if (failed(status)) {
        return onDisconnected();
    }
    std::lock_guard const lock(mMutex);
    if (mState == State::Closed) {
        return;
    }
    mState = State::Connected;
    mConnectedSince = Clock::now();
    restore();
    if (mConnecting) {
        std::exchange(mConnecting, nullptr)->set(TELLBUS_OK);
    }
}

/** All that the bus knew of this connection, in the order in which it was told at first. */
void Connection::restore() {
    for (auto const& watched : mSubscriptions.names()) {
        watchName(watched);
    }
    for (auto const& subscription : mSubscriptions.eachSignal()) {
        addMatch(signalRule(*subscription));
    }
    for (auto const& name : mServices.names()) {
        // In the queue for the name this time: it comes back even if another process was faster.
        transmit(requestName(name.c_str(), 0).get(), TimePoint::max(),
                 [name](TELLBUS_tStatus status, DBusMessage* answer) {
                     if (answer && failed(nameStatus(status, answer))) {
                         complain(Complaint::NameLost, name);
                     }
                 });
    }
}

void Connection::onDisconnected() {
    std::unique_ptr<BusLink> link;
    std::vector<WatchedName> ownersBefore;
    bool wasConnected = false;
    {
        std::lock_guard const lock(mMutex);
        if (mState == State::Closed || !mLink) {
            return;
        }
        wasConnected = std::exchange(mState, State::Away) == State::Connected;
        if (wasConnected && Clock::now() - mConnectedSince >= STEADY) {
            mBackoff.reset();
        }
        link = std::move(mLink);
        for (auto const& watched : mSubscriptions.names()) {
            ownersBefore.push_back(*watched);
            watched->owner.clear();
            watched->resolved = false;
            watched->announce = true;
        }
        retryLater();
    }
    link.reset();
    if (wasConnected) {
        complain(Complaint::BusGone, mAddress);
    }
    failEach(TELLBUS_E_DISCONNECTED, [this] { return mPending.takeFirst(); });
    for (auto const& before : ownersBefore) {
        if (!before.owner.empty()) {
            std::vector<SubscriptionPtr> told;
            {
                std::lock_guard const lock(mMutex);
                told = mSubscriptions.forOwner(before.name);
            }
            tellOwner(told, before.name, before.owner, std::string());
        }
    }
}

void Connection::retryLater() {
    if (mConnecting) {
        std::exchange(mConnecting, nullptr)->set(TELLBUS_E_NO_BUS);
        return;
    }
    mRetryAt = Clock::now() + mBackoff.next();
    settleTimer();
}

} // namespace tellbus
