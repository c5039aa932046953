#include "tellbus/PendingCalls.h"

namespace tellbus {

void PendingCalls::add(dbus_uint32_t serial, ReplyHandler handler, TimePoint deadline) {
    mCalls.insert_or_assign(serial, Call{std::move(handler), deadline});
    if (deadline != TimePoint::max()) {
        mDeadlines.emplace(deadline, serial);
    }
}

ReplyHandler PendingCalls::take(dbus_uint32_t serial) {
    auto const node = mCalls.extract(serial);
    if (node.empty()) {
        return nullptr;
    }
    mDeadlines.erase({node.mapped().deadline, serial});
    return std::move(node.mapped().handler);
}

std::vector<ReplyHandler> PendingCalls::takeExpired(TimePoint now) {
    std::vector<ReplyHandler> expired;
    while (!mDeadlines.empty() && mDeadlines.begin()->first <= now) {
        expired.push_back(take(mDeadlines.begin()->second));
    }
    return expired;
}

std::vector<ReplyHandler> PendingCalls::takeAll() {
    std::vector<ReplyHandler> all;
    for (auto& call : mCalls) {
        all.push_back(std::move(call.second.handler));
    }
    mCalls.clear();
    mDeadlines.clear();
    return all;
}

std::optional<TimePoint> PendingCalls::earliest() const {
    return mDeadlines.empty() ? std::nullopt : std::optional(mDeadlines.begin()->first);
}

} // namespace tellbus
