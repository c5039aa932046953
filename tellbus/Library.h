#pragma once

#include "tellbus/EventLoop.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <sys/types.h>

namespace tellbus {

/** What TELLBUS_initialize starts and TELLBUS_shutdown ends: the library thread. */
class Library {
public:
    /** The one of the process; never destroyed, so that calls at any time find it. */
    static Library& instance();

    /** Counted: each needs its end(). */
    void begin();

    /** The last one closes all connections and ends the thread. */
    void end();

    /** Null before begin() and after the last end(). */
    std::shared_ptr<EventLoop> loop();

private:
    static void atProcessExit();
    void leave();
    bool isInherited() const;

    std::atomic<pid_t> mProcess{0}; ///< whose thread it is
    std::mutex mMutex;
    unsigned int mUsers = 0;
    bool mExitHandled = false;
    std::shared_ptr<EventLoop> mLoop;
};

} // namespace tellbus
