#include "platform/StackRoom.h"

#include <cstdint>
#include <pthread.h>

std::size_t stackRoom() {
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) {
        return 0;
    }
    void* bottom = nullptr;
    std::size_t size = 0;
    pthread_attr_getstack(&attributes, &bottom, &size);
    pthread_attr_destroy(&attributes);
    // Not the address of a local variable: the address sanitizer keeps those off the stack.
    void const* const here = __builtin_frame_address(0);
    return reinterpret_cast<std::uintptr_t>(here) - reinterpret_cast<std::uintptr_t>(bottom);
}
