#include "tellbus/Subscription.h"

#include <algorithm>
#include <dbus/dbus.h>
#include <utility>

namespace tellbus {

namespace {

std::string signalKey(std::string const& path, std::string const& member) {
    return path + ' ' + member;
}

/** Paths begin with a slash and names do not, so that both kinds fit into one table. */
std::string keyOf(Subscription const& subscription) {
    return subscription.onOwner ? subscription.name
                                : signalKey(subscription.path, subscription.member);
}

} // namespace

std::vector<SubscriptionPtr> Subscriptions::found(std::string const& key) const {
    auto const list = mLists.find(key);
    return list == mLists.end() ? std::vector<SubscriptionPtr>() : list->second;
}

void Subscriptions::add(SubscriptionPtr subscription) {
    Watch& watch = mNames[subscription->name];
    if (!watch.name) {
        watch.name = std::make_shared<WatchedName>();
        watch.name->name = subscription->name;
    }
    ++watch.users;
    std::string const key = keyOf(*subscription);
    mLists[key].push_back(std::move(subscription));
}

bool Subscriptions::remove(SubscriptionPtr const& subscription) {
    auto const list = mLists.find(keyOf(*subscription));
    if (list == mLists.end()) {
        return false;
    }
    auto& members = list->second;
    auto const place = std::find(members.begin(), members.end(), subscription);
    if (place == members.end()) {
        return false;
    }
    members.erase(place);
    if (members.empty()) {
        mLists.erase(list);
    }
    auto const watch = mNames.find(subscription->name);
    if (--watch->second.users == 0) {
        mNames.erase(watch);
    }
    return true;
}

void Subscriptions::clear() {
    for (auto const& list : mLists) {
        for (auto const& subscription : list.second) {
            subscription->live = false;
        }
    }
    mLists.clear();
    mNames.clear();
}

WatchedNamePtr Subscriptions::watched(std::string const& name) const {
    auto const watch = mNames.find(name);
    return watch == mNames.end() ? nullptr : watch->second.name;
}

std::vector<WatchedNamePtr> Subscriptions::names() const {
    std::vector<WatchedNamePtr> names;
    for (auto const& watch : mNames) {
        names.push_back(watch.second.name);
    }
    return names;
}

std::vector<SubscriptionPtr> Subscriptions::forSignal(std::string const& path,
                                                      std::string const& member) const {
    return found(signalKey(path, member));
}

std::vector<SubscriptionPtr> Subscriptions::forOwner(std::string const& name) const {
    return found(name);
}

std::vector<SubscriptionPtr> Subscriptions::eachSignal() const {
    std::vector<SubscriptionPtr> each;
    for (auto const& list : mLists) {
        if (list.second.front()->onSignal) {
            each.push_back(list.second.front());
        }
    }
    return each;
}

std::string signalRule(Subscription const& subscription) {
    return "type='signal',sender='" + subscription.name + "',path='" + subscription.path
           + "',member='" + subscription.member + "'";
}

std::string ownerRule(std::string const& name) {
    return "type='signal',sender='" DBUS_SERVICE_DBUS "',path='" DBUS_PATH_DBUS
           "',interface='" DBUS_INTERFACE_DBUS "',member='NameOwnerChanged',arg0='"
           + name + "'";
}

} // namespace tellbus
