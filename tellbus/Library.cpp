#include "tellbus/Library.h"

#include "tellbus/BusAddress.h"
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
constexpr std::chrono::seconds FLUSH_LIMIT{2};

} // namespace

Library& Library::instance() {
    static auto& library = *std::make_unique<Library>().release();
    return library;
}

TELLBUS_tStatus Library::initialize() {
    TimePoint const deadline = answerDeadline();
    while (auto const before = enter()) {
        if (before->onThread()) {
            return TELLBUS_E_THREAD;
        }
        if (!before->awaitStop(deadline)) {
            return TELLBUS_E_TIMEOUT;
        }
    }
    return TELLBUS_OK;
}

std::shared_ptr<EventLoop> Library::enter() {
    MutexLock const lock(mMutex);
    if (!mLoop && mStopping && !mStopping->hasStopped()) {
        return mStopping;
    }
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
    return nullptr;
}

void Library::shutDown() {
    if (isInherited()) {
        return;
    }
    std::shared_ptr<EventLoop> stopping;
    {
        MutexLock const lock(mMutex);
        if (mUsers == 0 || --mUsers > 0) {
            return;
        }
        stopping = std::exchange(mLoop, nullptr);
        mStopping = stopping;
    }
    // Those that are being closed too: in a callback that finishes what their closing began.
    handles().connections.moveAll(handles().closing);
    auto const closing = handles().closing.all();
    // The newest first, so that a client does not hear the services of its own process go.
    for (auto connection = closing.rbegin(); connection != closing.rend(); ++connection) {
        dropHandlesOf(*connection);
        (*connection)->close();
    }
    stopping->stop(answerDeadline());
}

std::shared_ptr<EventLoop> Library::loop() {
    MutexLock const lock(mMutex);
    return mLoop;
}

std::shared_ptr<Connection> Library::makeConnection(std::shared_ptr<EventLoop> const& loop) {
    Connection::Handles keeper;
    keeper.add = [](std::shared_ptr<Request> const& request) {
        return handles().requests.add(request);
    };
    keeper.drop = dropHandlesOf;
    keeper.closed = [](Connection const& connection) {
        handles().closing.takeIf([&](Connection const& other) { return &other == &connection; });
    };
    return Connection::create(loop, busAddress(), std::move(keeper));
}

void* Library::adopt(std::shared_ptr<Connection> const& connection,
                     std::shared_ptr<EventLoop> const& loop) {
    MutexLock const lock(mMutex);
    return loop == mLoop ? handles().connections.add(connection) : nullptr;
}

void Library::atProcessExit() {
    instance().flushAll();
}

// A child of fork() has no library thread, and shares its parent's sockets: it must not end them.
bool Library::isInherited() const {
    return mProcess != getpid();
}

// What callers have sent must arrive although the process ends right behind it. No callback runs
// from here on: what it would work with is about to be destroyed.
void Library::flushAll() {
    if (isInherited()) {
        return;
    }
    if (auto const loop = lastThread()) {
        loop->abort(Clock::now() + THREAD_LIMIT);
    }
    handles().connections.moveAll(handles().closing);
    TimePoint const deadline = Clock::now() + FLUSH_LIMIT;
    for (auto const& connection : handles().closing.takeAll()) {
        connection->flush(deadline);
    }
}

std::shared_ptr<EventLoop> Library::lastThread() {
    MutexLock const lock(mMutex);
    return mLoop ? mLoop : mStopping;
}

} // namespace tellbus
