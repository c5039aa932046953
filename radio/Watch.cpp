#include "radio/Watch.h"

#include <cerrno>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <system_error>

namespace {

[[noreturn]] void fail(char const* call) {
    throw std::system_error(errno, std::generic_category(), call);
}

int checked(int result, char const* call) {
    if (result == -1) {
        fail(call);
    }
    return result;
}

bool put(int set, int descriptor, unsigned int events, void* key) {
    epoll_event event{};
    event.events = events;
    event.data.ptr = key;
    return epoll_ctl(set, EPOLL_CTL_MOD, descriptor, &event) == 0
           || (errno == ENOENT && epoll_ctl(set, EPOLL_CTL_ADD, descriptor, &event) == 0);
}

} // namespace

Watch::Watch()
    : mSet(checked(epoll_create1(EPOLL_CLOEXEC), "epoll_create1")),
      mWake(checked(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")) {
    if (!put(mSet.get(), mWake.get(), EPOLLIN, nullptr)) {
        fail("epoll_ctl");
    }
}

void Watch::watch(int descriptor, void* key) {
    if (put(mSet.get(), descriptor, EPOLLIN | EPOLLONESHOT, key)) {
        return;
    }
    if (errno != EPERM
        || !put(mSet.get(), alwaysReadable(descriptor), EPOLLIN | EPOLLONESHOT, key)) {
        fail("epoll_ctl");
    }
}

int Watch::alwaysReadable(int descriptor) {
    auto const [standIn, isNew] = mStandIns.try_emplace(descriptor);
    if (isNew) {
        standIn->second = Descriptor(checked(eventfd(1, EFD_CLOEXEC), "eventfd"));
    }
    return standIn->second.get();
}

void* Watch::wait() {
    epoll_event event{};
    while (epoll_wait(mSet.get(), &event, 1, -1) != 1) {
        if (errno != EINTR) {
            fail("epoll_wait");
        }
    }
    return event.data.ptr;
}

void Watch::wake() {
    eventfd_write(mWake.get(), 1);
}
