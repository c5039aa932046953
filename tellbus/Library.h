#pragma once

#include "platform/Mutex.h"
#include "tellbus/EventLoop.h"
#include "tellbus/tellbus.h"

#include <atomic>
#include <memory>
#include <sys/types.h>

namespace tellbus {

class Connection;

/** What TELLBUS_initialize starts and TELLBUS_shutdown stops: the library thread. */
class Library {
public:
    /** The one of the process; never destroyed, so that calls at any time find it. */
    static Library& instance();

    /**
     * Counted: each needs its shutDown(). If a shutDown() inside a callback has left the thread to
     * that callback, waits for its end; fails in that callback itself, as there is one thread only.
     */
    TELLBUS_tStatus initialize();

    /** The last one closes all connections and stops the thread. */
    void shutDown();

    /** Null before initialize() and after the last shutDown(). */
    std::shared_ptr<EventLoop> loop();

    /** A connection whose handles are those of the process. */
    static std::shared_ptr<Connection> makeConnection(std::shared_ptr<EventLoop> const& loop);

    /** Gives a connection its handle, so that shutDown() closes it; null if its thread is stopping.
     */
    void* adopt(std::shared_ptr<Connection> const& connection,
                std::shared_ptr<EventLoop> const& loop);

private:
    static void atProcessExit();
    void flushAll();
    std::shared_ptr<EventLoop> lastThread();

    /** Counts a user in, with a thread; or gives the thread that has to end before that. */
    std::shared_ptr<EventLoop> enter();
    bool isInherited() const;

    std::atomic<pid_t> mProcess{0}; ///< whose thread it is
    Mutex mMutex;
    unsigned int mUsers GUARDED_BY(mMutex) = 0;
    bool mExitHandled GUARDED_BY(mMutex) = false;
    std::shared_ptr<EventLoop> mLoop GUARDED_BY(mMutex);
    /** The thread of the last shutDown(), which may still run. */
    std::shared_ptr<EventLoop> mStopping GUARDED_BY(mMutex);
};

} // namespace tellbus
