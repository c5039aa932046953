#include "tellbus/PendingCalls.h"

namespace tellbus {

namespace {

/** Whether a name stands for one process as long as the bus runs. */
bool isFixed(std::string const& name) {
    return name.rfind(':', 0) == 0 || name == DBUS_SERVICE_DBUS;
}

} // namespace

void PendingCalls::add(dbus_uint32_t serial, ReplyHandler handler, TimePoint deadline,
                       std::string destination) {
    mCalls.insert_or_assign(serial, Call{std::move(handler), deadline, std::move(destination)});
    if (deadline != TimePoint::max()) {
        mDeadlines.emplace(deadline, serial);
    }
}

bool PendingCalls::isForged(dbus_uint32_t serial, std::string const& sender) const {
    auto const call = mCalls.find(serial);
    return call != mCalls.end() && isFixed(call->second.destination)
           && sender != call->second.destination && sender != DBUS_SERVICE_DBUS;
}

ReplyHandler PendingCalls::take(dbus_uint32_t serial) {
    auto const node = mCalls.extract(serial);
    if (node.empty()) {
        return nullptr;
    }
    mDeadlines.erase({node.mapped().deadline, serial});
    return std::move(node.mapped().handler);
}

ReplyHandler PendingCalls::takeExpired(TimePoint now) {
    bool const due = !mDeadlines.empty() && mDeadlines.begin()->first <= now;
    return due ? take(mDeadlines.begin()->second) : nullptr;
}

ReplyHandler PendingCalls::takeFirst() {
    return mCalls.empty() ? nullptr : take(mCalls.begin()->first);
}

std::optional<TimePoint> PendingCalls::earliest() const {
    return mDeadlines.empty() ? std::nullopt : std::optional(mDeadlines.begin()->first);
}

} // namespace tellbus
