#pragma once

#include "platform/Mutex.h"
#include "tellbus/Answer.h"
#include "tellbus/Clock.h"

#include <atomic>
#include <cassert>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <unordered_map>
#include <vector>

namespace tellbus {

/** The role of a thread: what belongs to it needs no mutex. */
class THREAD_CHECKED(capability("role")) ThreadRole {
public:
    void take() { mHolder = std::this_thread::get_id(); }
    void take(std::thread const& thread) { mHolder = thread.get_id(); }
    /** The next thread of the process may have the same id. */
    void release() { mHolder = std::thread::id(); }

    bool isMine() const { return mHolder.load() == std::this_thread::get_id(); }
    void assertMine() const THREAD_CHECKED(assert_capability(this)) { assert(isMine()); }

private:
    std::atomic<std::thread::id> mHolder;
};

/**
 * The library's one thread: it waits in epoll for descriptors and for tasks, without a time limit,
 * and runs every handler, and so every callback, one after the other.
 *
 * All operations may be called from any thread.
 */
class EventLoop : public std::enable_shared_from_this<EventLoop> {
public:
    using Handler = std::function<void(std::uint32_t events)>;
    using Task = std::function<void()>;

    /** Starts the thread. @throws std::system_error without descriptors or threads */
    static std::shared_ptr<EventLoop> start();

    EventLoop();
    ~EventLoop();
    EventLoop(EventLoop const&) = delete;
    EventLoop& operator=(EventLoop const&) = delete;

    /** Whether the caller is the library's thread. */
    bool onThread() const { return mRole.isMine(); }
    void assertOnThread() const THREAD_CHECKED(assert_capability(mRole)) { mRole.assertMine(); }

    /** Queues a task; tasks run in the order of their posting. Dropped if the thread has stopped.
     */
    void post(Task task);

    /**
     * Runs a task on the thread and returns when it has run; false if that is not in time, and at
     * once if the thread has stopped or stops before.
     */
    bool run(Task task, TimePoint deadline);

    /** Whether the thread has stopped. */
    bool hasStopped();

    /** Waits for that; false if that is not in time. */
    bool awaitStop(TimePoint deadline);

    /** Enters a handler and returns its id, under which descriptors are watched. */
    std::uint64_t attach(Handler handler);
    void detach(std::uint64_t id);

    /** Watches a descriptor for epoll events; those that are there go to the handler of id. */
    void watch(int fd, std::uint32_t events, std::uint64_t id);
    void rewatch(int fd, std::uint32_t events, std::uint64_t id);
    void unwatch(int fd);

    /**
     * Stops the thread after the handler that runs; false if that has not come to its end. Asked on
     * the thread itself it still lets the tasks run that wait by then.
     */
    bool stop(TimePoint deadline);

    /**
     * Stops the thread after the callback that runs, without another one and without its tasks;
     * false if that callback has not come to its end. Asked on the thread itself it does not
     * wait.
     */
    bool abort(TimePoint deadline);

    /** Whether it has been aborted: no callback may begin. */
    bool isAborted() const { return mAborted; }

private:
    void loop();
    void dispatch(std::uint64_t id, std::uint32_t events);
    void runTasks();
    void finish();
    std::thread takeThread();
    void wake() const;

    int mEpoll;
    int mWake;
    std::atomic<bool> mStopping{false};
    std::atomic<bool> mAborted{false};
    ThreadRole mRole;
    bool mStoppedInside GUARDED_BY(mRole) = false;
    Answer<bool> mFinished;

    Mutex mMutex;
    std::thread mThread GUARDED_BY(mMutex);
    std::uint64_t mLastId GUARDED_BY(mMutex);
    std::unordered_map<std::uint64_t, std::shared_ptr<Handler>> mHandlers GUARDED_BY(mMutex);
    std::vector<Task> mTasks GUARDED_BY(mMutex);
    bool mStopped GUARDED_BY(mMutex) = false;
};

} // namespace tellbus
