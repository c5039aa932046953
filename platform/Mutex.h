#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

// The words by which clang sees to it that what a mutex guards is used under that mutex only
// (-Wthread-safety). Other compilers read over them.
#ifdef __clang__
#define THREAD_CHECKED(attribute) __attribute__((attribute))
#else
#define THREAD_CHECKED(attribute)
#endif

/** Of a member: the mutex, or the role of the thread, without which nobody touches it. */
#define GUARDED_BY(mutex) THREAD_CHECKED(guarded_by(mutex))
/** Of an operation: its caller has these. */
#define REQUIRES(...) THREAD_CHECKED(requires_capability(__VA_ARGS__))
/** Of an operation: it takes them itself. */
#define EXCLUDES(...) THREAD_CHECKED(locks_excluded(__VA_ARGS__))
/** Of an operation that gives a reference to one. */
#define RETURN_CAPABILITY(mutex) THREAD_CHECKED(lock_returned(mutex))

class THREAD_CHECKED(capability("mutex")) Mutex {
public:
    Mutex() = default;
    Mutex(Mutex const&) = delete;
    Mutex& operator=(Mutex const&) = delete;

    /** Tells the check, which does not follow a std::function, that the caller holds it. */
    void assertHeld() const THREAD_CHECKED(assert_capability(this)) {}

private:
    friend class MutexLock;
    friend class TwoMutexesLock;
    std::mutex mMutex;
};

/** Holds a mutex as long as it lives. */
class THREAD_CHECKED(scoped_lockable) MutexLock {
public:
    explicit MutexLock(Mutex& mutex) THREAD_CHECKED(acquire_capability(mutex))
        : mLock(mutex.mMutex) {}
    ~MutexLock() THREAD_CHECKED(release_capability()) {}
    MutexLock(MutexLock const&) = delete;
    MutexLock& operator=(MutexLock const&) = delete;

    /** Lets others in until the condition is notified, or for no reason at all. */
    void wait(std::condition_variable& condition) { condition.wait(mLock); }

    /** The same; false if the deadline came first. */
    bool wait(std::condition_variable& condition, std::chrono::steady_clock::time_point deadline) {
        return condition.wait_until(mLock, deadline) == std::cv_status::no_timeout;
    }

private:
    std::unique_lock<std::mutex> mLock;
};

/** Holds two mutexes, whatever the order in which others take them. */
class THREAD_CHECKED(scoped_lockable) TwoMutexesLock {
public:
    TwoMutexesLock(Mutex& one, Mutex& other) THREAD_CHECKED(acquire_capability(one, other))
        : mLock(one.mMutex, other.mMutex) {}
    ~TwoMutexesLock() THREAD_CHECKED(release_capability()) {}
    TwoMutexesLock(TwoMutexesLock const&) = delete;
    TwoMutexesLock& operator=(TwoMutexesLock const&) = delete;

private:
    std::scoped_lock<std::mutex, std::mutex> mLock;
};
