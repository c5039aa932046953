#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <utility>

/** Long enough for the slowest machine under the slowest sanitizer; reached only by failures. */
constexpr std::chrono::seconds PATIENCE{60};

/** What callbacks bring on the library's thread, for the test's thread to wait for. */
template <class Item>
class Inbox {
public:
    void put(Item item) {
        std::lock_guard const lock(mMutex);
        mItems.push_back(std::move(item));
        ++mArrived;
        mChanged.notify_all();
    }

    /** Only counts an arrival. */
    void count() {
        std::lock_guard const lock(mMutex);
        ++mArrived;
        mChanged.notify_all();
    }

    /** The next item. @throws std::runtime_error if none comes */
    Item next() {
        std::unique_lock lock(mMutex);
        if (!mChanged.wait_for(lock, PATIENCE, [this] { return !mItems.empty(); })) {
            throw std::runtime_error("nothing arrived");
        }
        Item item = std::move(mItems.front());
        mItems.pop_front();
        return item;
    }

    /** Waits until so many have arrived since the beginning. */
    bool waitForArrivals(std::size_t count) {
        std::unique_lock lock(mMutex);
        return mChanged.wait_for(lock, PATIENCE, [&] { return mArrived >= count; });
    }

    std::size_t arrived() const {
        std::lock_guard const lock(mMutex);
        return mArrived;
    }

    bool empty() const {
        std::lock_guard const lock(mMutex);
        return mItems.empty();
    }

private:
    mutable std::mutex mMutex;
    std::condition_variable mChanged;
    std::deque<Item> mItems;
    std::size_t mArrived = 0;
};
