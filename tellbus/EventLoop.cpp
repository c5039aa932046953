// What moves through here are events, from epoll to the handlers, and tasks, from any thread to the
// library's.
//
// A descriptor is watched under the number of a handler and not under its address: an event that
// epoll gave out before the handler was detached then finds nobody, where an address would find
// what has been freed. A handler that runs is kept alive by the dispatch, so that it may detach
// itself. Tasks are taken out all at once and the thread is woken for the first of them only,
// since a wake-up is a system call.
//
// The thread owns the loop that it runs, beside everybody else, and the destructor may run on it.
// Tasks that wait when it stops are dropped: whoever waits for one in run() is told by its end.
#include "tellbus/EventLoop.h"

#include "tellbus/Contained.h"
#include "tellbus/HandOver.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tellbus {

namespace {

constexpr std::uint64_t WAKE_ID = 0;
constexpr int EVENTS_AT_ONCE = 16;

int checked(int descriptor) {
    if (descriptor == -1) {
        throw std::system_error(errno, std::generic_category());
    }
    return descriptor;
}

/** Keeps the application's signals away from the thread that is started while it lives. */
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &mBefore);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
    SignalsBlocked(SignalsBlocked const&) = delete;
    SignalsBlocked& operator=(SignalsBlocked const&) = delete;

private:
    sigset_t mBefore{};
};

void control(int epoll, int operation, int fd, std::uint32_t events, std::uint64_t id) {
    epoll_event event{};
    event.events = events;
    event.data.u64 = id;
    epoll_ctl(epoll, operation, fd, &event);
}

} // namespace

std::shared_ptr<EventLoop> EventLoop::start() {
    auto loop = std::make_shared<EventLoop>();
    SignalsBlocked const blocked;
    MutexLock const lock(loop->mMutex);
    loop->mThread = std::thread([loop] { loop->loop(); });
    loop->mRole.take(loop->mThread);
    return loop;
}

EventLoop::EventLoop()
    : mEpoll(checked(epoll_create1(EPOLL_CLOEXEC))), mWake(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)),
      mLastId(WAKE_ID) {
    if (mWake == -1) {
        int const cause = errno;
        close(mEpoll);
        throw std::system_error(cause, std::generic_category());
    }
    control(mEpoll, EPOLL_CTL_ADD, mWake, EPOLLIN, WAKE_ID);
}

EventLoop::~EventLoop() {
    if (mThread.joinable()) {
        mThread.detach();
    }
    close(mWake);
    close(mEpoll);
}

void EventLoop::post(Task task) {
    handOver();
    bool first = false;
    {
        MutexLock const lock(mMutex);
        if (mStopped) {
            return;
        }
        first = mTasks.empty();
        mTasks.push_back(std::move(task));
    }
    if (first) {
        wake();
    }
}

bool EventLoop::run(Task task, TimePoint deadline) {
    if (onThread()) {
        task();
        return true;
    }
    auto const done = std::make_shared<Answer<bool>>();
    // Goes with the task, and so says no if that is dropped.
    std::shared_ptr<void> dropped(nullptr, [done](void*) { done->set(false); });
    post([task = std::move(task), done, dropped = std::move(dropped)] {
        contained(task);
        done->set(true);
    });
    return done->waitUntil(deadline).value_or(false);
}

bool EventLoop::hasStopped() {
    MutexLock const lock(mMutex);
    return mStopped;
}

bool EventLoop::awaitStop(TimePoint deadline) {
    return mFinished.waitUntil(deadline).has_value();
}

std::uint64_t EventLoop::attach(Handler handler) {
    auto shared = std::make_shared<Handler>(std::move(handler));
    MutexLock const lock(mMutex);
    mHandlers.emplace(++mLastId, std::move(shared));
    return mLastId;
}

void EventLoop::detach(std::uint64_t id) {
    std::shared_ptr<Handler> handler;
    MutexLock const lock(mMutex);
    auto const found = mHandlers.find(id);
    if (found != mHandlers.end()) {
        handler = std::move(found->second);
        mHandlers.erase(found);
    }
}

void EventLoop::watch(int fd, std::uint32_t events, std::uint64_t id) {
    control(mEpoll, EPOLL_CTL_ADD, fd, events, id);
}
void EventLoop::rewatch(int fd, std::uint32_t events, std::uint64_t id) {
    control(mEpoll, EPOLL_CTL_MOD, fd, events, id);
}
void EventLoop::unwatch(int fd) {
    control(mEpoll, EPOLL_CTL_DEL, fd, 0, 0);
}

bool EventLoop::stop(TimePoint deadline) {
    if (onThread()) {
        assertOnThread();
        mStoppedInside = true;
        mStopping = true;
        return false;
    }
    if (!run([this] { mStopping = true; }, deadline) && !hasStopped()) {
        return false;
    }
    if (std::thread thread = takeThread(); thread.joinable()) {
        thread.join();
    }
    return true;
}

bool EventLoop::abort(TimePoint deadline) {
    mAborted = true;
    mStopping = true;
    wake();
    bool const ended = !onThread() && awaitStop(deadline);
    if (std::thread thread = takeThread(); thread.joinable()) {
        ended ? thread.join() : thread.detach();
    }
    return ended || onThread();
}

/** For the one who joins it: the end of the library and that of the process may meet. */
std::thread EventLoop::takeThread() {
    MutexLock const lock(mMutex);
    return std::move(mThread);
}

void EventLoop::loop() {
    mRole.take();
    assertOnThread();
    pthread_setname_np(pthread_self(), "tellbus");
    std::array<epoll_event, EVENTS_AT_ONCE> events{};
    while (!mStopping) {
        int const count = epoll_wait(mEpoll, events.data(), EVENTS_AT_ONCE, -1);
        handOver();
        for (int index = 0; index < count && !mStopping; ++index) {
            auto const& event = events.at(static_cast<std::size_t>(index));
            contained([&] { dispatch(event.data.u64, event.events); });
        }
    }
    if (mStoppedInside) {
        runTasks();
    }
    finish();
}

void EventLoop::finish() {
    assertOnThread();
    mRole.release();
    std::vector<Task> dropped;
    {
        MutexLock const lock(mMutex);
        mStopped = true;
        dropped.swap(mTasks);
    }
    dropped.clear();
    mFinished.set(true);
}

void EventLoop::dispatch(std::uint64_t id, std::uint32_t events) {
    assertOnThread();
    if (id == WAKE_ID) {
        return runTasks();
    }
    std::shared_ptr<Handler> handler;
    {
        MutexLock const lock(mMutex);
        auto const found = mHandlers.find(id);
        if (found != mHandlers.end()) {
            handler = found->second;
        }
    }
    if (handler) {
        (*handler)(events);
    }
}

void EventLoop::runTasks() {
    assertOnThread();
    eventfd_t count = 0;
    eventfd_read(mWake, &count);
    std::vector<Task> tasks;
    {
        MutexLock const lock(mMutex);
        tasks.swap(mTasks);
    }
    for (auto const& task : tasks) {
        if (mAborted) {
            return;
        }
        handOver();
        contained(task);
    }
}

void EventLoop::wake() const {
    eventfd_write(mWake, 1);
}

} // namespace tellbus
