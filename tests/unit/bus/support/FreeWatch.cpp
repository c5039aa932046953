#include "FreeWatch.h"

#if defined(__SANITIZE_ADDRESS__)

#include <sanitizer/asan_interface.h>

// The address sanitizer knows it, and its own operator delete should stay in place.

FreeWatch::FreeWatch(void const* object) : mObject(object), mSlot(0) {}
FreeWatch::~FreeWatch() = default;

bool FreeWatch::freed() const {
    return __asan_address_is_poisoned(mObject) != 0;
}

#else

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

constexpr unsigned int SLOTS = 8;
std::atomic<void const*> watched[SLOTS];

void noteAndFree(void* object) {
    if (object == nullptr) {
        return;
    }
    for (auto& slot : watched) {
        void const* expected = object;
        slot.compare_exchange_strong(expected, nullptr);
    }
    std::free(object);
}

} // namespace

void* operator new(std::size_t size) {
    if (void* const object = std::malloc(size == 0 ? 1 : size)) {
        return object;
    }
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void operator delete(void* object) noexcept {
    noteAndFree(object);
}
void operator delete[](void* object) noexcept {
    noteAndFree(object);
}
void operator delete(void* object, std::size_t) noexcept {
    noteAndFree(object);
}
void operator delete[](void* object, std::size_t) noexcept {
    noteAndFree(object);
}

FreeWatch::FreeWatch(void const* object) : mObject(object), mSlot(0) {
    void const* empty = nullptr;
    while (!watched[mSlot].compare_exchange_strong(empty, object)) {
        empty = nullptr;
        if (++mSlot == SLOTS) {
            std::abort();
        }
    }
}

FreeWatch::~FreeWatch() {
    void const* expected = mObject;
    watched[mSlot].compare_exchange_strong(expected, nullptr);
}

bool FreeWatch::freed() const {
    return watched[mSlot] != mObject;
}

#endif
