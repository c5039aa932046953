#pragma once

#include "tellbus/tellbus.h"

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace tellbus {

class Connection;

/** What somebody wants to hear of a name: one of its signals, or who owns it. */
struct Subscription {
    std::string name; ///< the bus name whose owner counts
    std::string path; ///< the sender's object; empty for owner changes
    std::string member;
    TELLBUS_fSignal onSignal = nullptr;
    TELLBUS_fNameOwnerChanged onOwner = nullptr;
    void* cookie = nullptr;
    std::weak_ptr<Connection> connection;
    std::atomic<bool> live{true}; ///< false as soon as it is given up
};
using SubscriptionPtr = std::shared_ptr<Subscription>;

/** A name that is watched, and its owner as far as the bus has told it. */
struct WatchedName {
    std::string name;
    std::string owner;     ///< unique name, empty if nobody owns it
    bool resolved = false; ///< the bus has answered who owns it; no signal is taken before
    bool announce = false; ///< the answer counts as a change from owner, which listeners know
};
using WatchedNamePtr = std::shared_ptr<WatchedName>;

/** The subscriptions of one connection and the names behind them. The connection guards it. */
class Subscriptions {
public:
    void add(SubscriptionPtr subscription);

    /** False if it was not there. */
    bool remove(SubscriptionPtr const& subscription);

    /** Gives all of them up. */
    void clear();

    /** The watched name, null if no subscription is about it. */
    WatchedNamePtr watched(std::string const& name) const;
    std::vector<WatchedNamePtr> names() const;

    /** Those to whom a signal goes, whoever sent it. */
    std::vector<SubscriptionPtr> forSignal(std::string const& path,
                                           std::string const& member) const;

    /** Those who want to hear of the owner of a name. */
    std::vector<SubscriptionPtr> forOwner(std::string const& name) const;

    /** One subscription for each signal: several of the same signal share a match rule. */
    std::vector<SubscriptionPtr> eachSignal() const;

private:
    struct Watch {
        WatchedNamePtr name;
        std::size_t users = 0;
    };

    std::vector<SubscriptionPtr> found(std::string const& key) const;

    std::unordered_map<std::string, std::vector<SubscriptionPtr>> mLists;
    std::map<std::string, Watch> mNames;
};

/** The rule by which the bus sends the signals of one subscription. */
std::string signalRule(Subscription const& subscription);

/** The rule by which the bus tells the changes of a name's owner. */
std::string ownerRule(std::string const& name);

} // namespace tellbus
