#pragma once

#include "platform/Mutex.h"

#include <atomic>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace tellbus {

/** A number that no other handle of this process has or had. */
inline std::uintptr_t nextHandleNumber() {
    static std::atomic<std::uintptr_t> last{0};
    return ++last;
}

/**
 * The objects of one kind that callers know by an opaque pointer.
 *
 * The pointer is a number in disguise and is never followed. A number is given out once, so that a
 * handle kept too long, of another kind or made up finds nothing.
 */
template <class Object>
class HandleTable {
public:
    void* add(std::shared_ptr<Object> object) {
        std::uintptr_t const number = nextHandleNumber();
        MutexLock const lock(mMutex);
        mObjects.emplace(number, std::move(object));
        return disguise(number);
    }

    /** A handle that stands for nothing and never will. */
    static void* reserve() { return disguise(nextHandleNumber()); }

    /** The object, or null if the handle does not stand for one. */
    std::shared_ptr<Object> find(void* handle) const {
        MutexLock const lock(mMutex);
        auto const found = mObjects.find(number(handle));
        return found == mObjects.end() ? nullptr : found->second;
    }

    /** Like find(), and the handle is stale from then on: only one caller gets the object. */
    std::shared_ptr<Object> take(void* handle) {
        MutexLock const lock(mMutex);
        auto const node = mObjects.extract(number(handle));
        return node.empty() ? nullptr : std::move(node.mapped());
    }

    /** Like take(), and from then on the object is in the other table, under the same handle. */
    std::shared_ptr<Object> move(void* handle, HandleTable& other) {
        TwoMutexesLock const locks(mMutex, other.mMutex);
        auto node = mObjects.extract(number(handle));
        return node.empty() ? nullptr : other.mObjects.insert(std::move(node)).position->second;
    }

    /** The same with all objects. */
    void moveAll(HandleTable& other) {
        TwoMutexesLock const locks(mMutex, other.mMutex);
        other.mObjects.merge(mObjects);
    }

    /** Removes and returns the objects that the predicate holds for. */
    template <class Predicate>
    std::vector<std::shared_ptr<Object>> takeIf(Predicate belongs) {
        std::vector<std::shared_ptr<Object>> taken;
        MutexLock const lock(mMutex);
        for (auto entry = mObjects.begin(); entry != mObjects.end();) {
            if (belongs(*entry->second)) {
                taken.push_back(std::move(entry->second));
                entry = mObjects.erase(entry);
            } else {
                ++entry;
            }
        }
        return taken;
    }

    /** Oldest first, as all() does. */
    std::vector<std::shared_ptr<Object>> takeAll() {
        return takeIf([](Object const&) { return true; });
    }

    std::vector<std::shared_ptr<Object>> all() const {
        std::vector<std::shared_ptr<Object>> objects;
        MutexLock const lock(mMutex);
        for (auto const& entry : mObjects) {
            objects.push_back(entry.second);
        }
        return objects;
    }

private:
    static void* disguise(std::uintptr_t number) {
        void* handle = nullptr;
        static_assert(sizeof handle == sizeof number);
        std::memcpy(&handle, &number, sizeof handle);
        return handle;
    }

    static std::uintptr_t number(void* handle) {
        std::uintptr_t value = 0;
        std::memcpy(&value, &handle, sizeof value);
        return value;
    }

    mutable Mutex mMutex;
    std::map<std::uintptr_t, std::shared_ptr<Object>> mObjects GUARDED_BY(mMutex);
};

} // namespace tellbus
