#pragma once

#include "platform/Mutex.h"
#include "tellbus/Clock.h"
#include "tellbus/HandOver.h"

#include <condition_variable>
#include <optional>
#include <utility>

namespace tellbus {

/** One value that the library thread gives to a caller who waits for it; the first one counts. */
template <class Value>
class Answer {
public:
    void set(Value value) {
        handOver();
        MutexLock const lock(mMutex);
        if (!mValue) {
            mValue = std::move(value);
            mArrived.notify_all();
        }
    }

    /** The value, or nothing when the deadline passes first. */
    std::optional<Value> waitUntil(TimePoint deadline) {
        handOver();
        MutexLock lock(mMutex);
        while (!mValue && lock.wait(mArrived, deadline)) {
        }
        return mValue;
    }

private:
    Mutex mMutex;
    std::condition_variable mArrived;
    std::optional<Value> mValue GUARDED_BY(mMutex);
};

} // namespace tellbus
