#pragma once

#include "tellbus/Clock.h"
#include "tellbus/HandOver.h"

#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>

namespace tellbus {

/** One value that the library thread gives to a caller who waits for it; the first one counts. */
template <class Value>
class Answer {
public:
    void set(Value value) {
        handOver();
        std::lock_guard const lock(mMutex);
        if (!mValue) {
            mValue = std::move(value);
            mArrived.notify_all();
        }
    }

    /** The value, or nothing when the deadline passes first. */
    std::optional<Value> waitUntil(TimePoint deadline) {
        handOver();
        std::unique_lock lock(mMutex);
        mArrived.wait_until(lock, deadline, [this] { return mValue.has_value(); });
        return mValue;
    }

private:
    std::mutex mMutex;
    std::condition_variable mArrived;
    std::optional<Value> mValue;
};

} // namespace tellbus
