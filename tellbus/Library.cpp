#include "tellbus/Library.h"

#include "tellbus/Connection.h"
#include "tellbus/Handles.h"

#include <cstdlib>
#include <dbus/dbus.h>
#include <unistd.h>
#include <utility>

namespace tellbus {

namespace {

/** How long the end of the process may be held up by callbacks, and by a bus that does not read. */
constexpr std::chrono::seconds THREAD_LIMIT{1};
constexpr std::chrono::seconds FAREWELL_LIMIT{2};

} // namespace

Library& Library::instance() {
    static auto& library = *std::make_unique<Library>().release();
    return library;
}

void Library::begin() {
    std::lock_guard const lock(mMutex);
    if (!mExitHandled) {
        dbus_threads_init_default();
        std::atexit(atProcessExit);
        mExitHandled = true;
    }
    if (!mLoop) {
        mProcess = getpid();
        mLoop = EventLoop::start();
    }
    ++mUsers;
}

void Library::end() {
    if (isInherited()) {
        return;
    }
    std::shared_ptr<EventLoop> ended;
    {
        std::lock_guard const lock(mMutex);
        if (mUsers == 0 || --mUsers > 0) {
            return;
        }
        ended = std::exchange(mLoop, nullptr);
    }
    for (auto const& connection : handles().connections.takeAll()) {
        dropHandlesOf(connection);
        connection->close();
    }
    // To close one again is to see it closed, or in a callback to finish what that call began.
    for (auto const& connection : handles().closing.all()) {
        connection->close();
    }
    ended->stop(answerDeadline());
}

std::shared_ptr<EventLoop> Library::loop() {
    std::lock_guard const lock(mMutex);
    return mLoop;
}

void Library::atProcessExit() {
    instance().leave();
}

// A child of fork() has no library thread, and shares its parent's sockets: it must not end them.
bool Library::isInherited() const {
    return mProcess != getpid();
}

// What callers have sent must arrive although the process ends right behind it. No callback runs
// from here on: what it would work with is about to be destroyed.
void Library::leave() {
    if (isInherited()) {
        return;
    }
    if (auto const loop = this->loop()) {
        loop->stop(Clock::now() + THREAD_LIMIT);
        TimePoint const deadline = Clock::now() + FAREWELL_LIMIT;
        for (auto const& connection : handles().connections.takeAll()) {
            connection->leave(deadline);
        }
    }
}

} // namespace tellbus
