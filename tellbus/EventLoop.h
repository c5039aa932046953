#pragma once

#include "tellbus/Answer.h"
#include "tellbus/Clock.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

namespace tellbus {

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
    bool onThread() const;

    /** Queues a task; tasks run in the order of their posting. Dropped if the thread has ended. */
    void post(Task task);

    /**
     * Runs a task on the thread and returns when it has run; false if that is not in time, and at
     * once if the thread has ended or ends before.
     */
    bool run(Task task, TimePoint deadline);

    /** Whether the thread has ended. */
    bool isOver();

    /** Waits for the thread's end; false if that is not in time. */
    bool awaitEnd(TimePoint deadline);

    /** Enters a handler and returns its id, under which descriptors are watched. */
    std::uint64_t attach(Handler handler);
    void detach(std::uint64_t id);

    /** Watches a descriptor for epoll events; those that are there go to the handler of id. */
    void watch(int fd, std::uint32_t events, std::uint64_t id);
    void rewatch(int fd, std::uint32_t events, std::uint64_t id);
    void unwatch(int fd);

    /**
     * Ends the thread after the handler that runs; false if that has not come to its end. Asked on
     * the thread itself it still lets the tasks run that wait by then.
     */
    bool stop(TimePoint deadline);

    /**
     * Ends the thread after the callback that runs, without another one and without its tasks;
     * false if that callback has not come to its end. Asked on the thread itself it ends nothing.
     */
    bool abandon(TimePoint deadline);

    /** Whether it has been abandoned: no callback may begin. */
    bool isAbandoned() const { return mAbandoned; }

private:
    void loop();
    void dispatch(std::uint64_t id, std::uint32_t events);
    void runTasks();
    void conclude();
    std::thread takeThread();
    void wake() const;

    int mEpoll;
    int mWake;
    std::atomic<bool> mStopping{false};
    std::atomic<bool> mAbandoned{false};
    bool mStoppedInside = false; ///< only for the thread
    Answer<bool> mEnded;
    std::atomic<std::thread::id> mThreadId;
    std::thread mThread;

    std::mutex mMutex;
    std::uint64_t mLastId;
    std::unordered_map<std::uint64_t, std::shared_ptr<Handler>> mHandlers;
    std::vector<Task> mTasks;
    bool mOver = false;
};

} // namespace tellbus
