// What moves through here are signals, from the outbox to the callbacks of the subscriptions.
//
// A subscription is shared between the caller's handle, the table here, and a signal that is being
// handed out, so that none of them has to wait for the others; "live" ends the handing out at once.
// The table and the match rules of the bus change together under the mutex of the outbox.
//
// The bus handles what we send in its order: it tells every change of a name's owner before it
// tells who owns it, and that before the first signal. So the owner is known for each signal, and
// one that comes from anybody else is dropped.
#include "tellbus/IncomingSignals.h"

#include "tellbus/Complaints.h"
#include "tellbus/Contained.h"
#include "tellbus/HandOver.h"
#include "tellbus/Status.h"

#include <utility>

namespace tellbus {

TELLBUS_tStatus IncomingSignals::subscribe(SubscriptionPtr const& subscription) {
    handOver();
    MutexLock const lock(mOutbox->mutex());
    TELLBUS_tStatus const status = mOutbox->sendable();
    if (failed(status) && status != TELLBUS_E_DISCONNECTED) {
        return status;
    }
    bool const knownName = mSubscriptions.watched(subscription->name) != nullptr;
    bool const knownSignal =
        !mSubscriptions.forSignal(subscription->path, subscription->member).empty();
    mSubscriptions.add(subscription);
    auto const watched = mSubscriptions.watched(subscription->name);
    if (failed(status)) {
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

TELLBUS_tStatus IncomingSignals::unsubscribe(SubscriptionPtr const& subscription,
                                             EventLoop::Task done) {
    subscription->live = false;
    MutexLock const lock(mOutbox->mutex());
    if (mOutbox->isClosed()) {
        return TELLBUS_E_HANDLE;
    }
    mUnsubscribed.push_back(std::move(done));
    if (mSubscriptions.remove(subscription) && mOutbox->isConnected()) {
        removeMatchesOf(*subscription);
    }
    return TELLBUS_OK;
}

void IncomingSignals::removeMatchesOf(Subscription const& subscription) {
    if (subscription.onSignal
        && mSubscriptions.forSignal(subscription.path, subscription.member).empty()) {
        removeMatch(signalRule(subscription));
    }
    if (!mSubscriptions.watched(subscription.name)) {
        removeMatch(ownerRule(subscription.name));
    }
}

void IncomingSignals::finishUnsubscribes() {
    for (;;) {
        EventLoop::Task done;
        {
            MutexLock const lock(mOutbox->mutex());
            if (mUnsubscribed.empty() || !mOutbox->mayCall()) {
                return;
            }
            done = std::move(mUnsubscribed.front());
            mUnsubscribed.pop_front();
        }
        handOver();
        contained(done);
    }
}

void IncomingSignals::clear() {
    MutexLock const lock(mOutbox->mutex());
    mSubscriptions.clear();
}

void IncomingSignals::addMatch(std::string const& rule) {
    mOutbox->transmit(busCall("AddMatch", rule.c_str()).get(), TimePoint::max(),
                      [rule](TELLBUS_tStatus status, DBusMessage* answer) {
                          if (failed(status) && answer) {
                              complain(Complaint::MatchRule, rule);
                          }
                      });
}

void IncomingSignals::removeMatch(std::string const& rule) {
    MessagePtr const message = busCall("RemoveMatch", rule.c_str());
    dbus_message_set_no_reply(message.get(), TRUE);
    mOutbox->transmit(message.get());
}

void IncomingSignals::watchName(WatchedNamePtr const& watched) {
    addMatch(ownerRule(watched->name));
    std::weak_ptr<WatchedName> const weak = watched;
    mOutbox->transmit(
        busCall("GetNameOwner", watched->name.c_str()).get(), TimePoint::max(),
        [self = shared_from_this(), weak](TELLBUS_tStatus status, DBusMessage* answer) {
            self->onOwner(weak, status, answer);
        });
}

// The bus answers in its order, so its answer is newer than every change that was read before it.
// Such a change may even be older than the subscription, left in the socket by an earlier one.
void IncomingSignals::onOwner(std::weak_ptr<WatchedName> const& weak, TELLBUS_tStatus status,
                              DBusMessage* answer) {
    std::vector<SubscriptionPtr> told;
    std::string before;
    std::string now;
    auto const watched = weak.lock();
    {
        MutexLock const lock(mOutbox->mutex());
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

void IncomingSignals::onSignal(DBusMessage* message) {
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
        if (subscription->live && mOutbox->mayCall()) {
            handOver();
            contained([&] {
                subscription->onSignal(dbus_message_get_member(message), orEmpty(argument.text),
                                       subscription->cookie);
            });
        }
    }
}

std::vector<SubscriptionPtr> IncomingSignals::listenersTo(DBusMessage* signal) {
    {
        MutexLock const lock(mOutbox->mutex());
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

void IncomingSignals::onOwnerChanged(DBusMessage* message) {
    char const* name = nullptr;
    char const* before = nullptr;
    char const* now = nullptr;
    if (!dbus_message_get_args(message, nullptr, DBUS_TYPE_STRING, &name, DBUS_TYPE_STRING, &before,
                               DBUS_TYPE_STRING, &now, DBUS_TYPE_INVALID)) {
        return complain(Complaint::BadSignal, describeMessage(message));
    }
    std::vector<SubscriptionPtr> told;
    {
        MutexLock const lock(mOutbox->mutex());
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

void IncomingSignals::tellOwner(std::vector<SubscriptionPtr> const& subscriptions,
                                std::string const& name, std::string const& before,
                                std::string const& now) const {
    for (auto const& subscription : subscriptions) {
        if (subscription->live && mOutbox->mayCall()) {
            handOver();
            contained([&] {
                subscription->onOwner(name.c_str(), before.c_str(), now.c_str(),
                                      subscription->cookie);
            });
        }
    }
}

void IncomingSignals::restore() {
    mOutbox->mutex().assertHeld();
    for (auto const& watched : mSubscriptions.names()) {
        watchName(watched);
    }
    for (auto const& subscription : mSubscriptions.eachSignal()) {
        addMatch(signalRule(*subscription));
    }
}

EventLoop::Task IncomingSignals::loseOwners() {
    mOutbox->mutex().assertHeld();
    std::vector<WatchedName> before;
    for (auto const& watched : mSubscriptions.names()) {
        before.push_back(*watched);
        watched->owner.clear();
        watched->resolved = false;
        watched->announce = true;
    }
    return [self = shared_from_this(), before = std::move(before)] { self->tellLoss(before); };
}

void IncomingSignals::tellLoss(std::vector<WatchedName> const& before) {
    for (auto const& name : before) {
        if (name.owner.empty()) {
            continue;
        }
        std::vector<SubscriptionPtr> told;
        {
            MutexLock const lock(mOutbox->mutex());
            told = mSubscriptions.forOwner(name.name);
        }
        tellOwner(told, name.name, name.owner, std::string());
    }
}

} // namespace tellbus
