#pragma once

#include "platform/Mutex.h"
#include "tellbus/Answer.h"
#include "tellbus/Backoff.h"
#include "tellbus/BusLink.h"
#include "tellbus/Clock.h"
#include "tellbus/EventLoop.h"
#include "tellbus/Message.h"
#include "tellbus/PendingCalls.h"
#include "tellbus/Timer.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tellbus {

/**
 * The way to the bus and back, through however many restarts of the bus: the link, the calls that
 * wait for their answers, the timer for both, and the one mutex.
 *
 * The mutex is held for a step that does not wait: to write one message, to read what the socket
 * holds, to look a name up. It is never held while a callback runs. A thread with a message to send
 * writes it to the socket itself, so that it leaves at once and costs no change of threads; what
 * the socket does not take, the library thread writes later. All reading and every callback is on
 * the library thread.
 *
 * Code that sends, and keeps a table of what the bus has been told, does both under the mutex, so
 * that the table and the bus agree: those are the operations that require it.
 */
class Outbox : public std::enable_shared_from_this<Outbox> {
public:
    /** What others do about what happens here, all of it on the library thread. */
    struct Reactions {
        /** A call or a signal has arrived. Without the mutex. */
        std::function<void(DBusMessage*)> onMessage;
        /** The bus has said hello: tells it all that it should know. With the mutex. */
        std::function<void()> onConnected;
        /**
         * The bus is gone. With the mutex; what this returns runs without it, when the calls that
         * waited have failed.
         */
        std::function<EventLoop::Task()> onDisconnected;
    };

    /** Not connected yet. @throws std::system_error without descriptors */
    static std::shared_ptr<Outbox> create(std::shared_ptr<EventLoop> loop, std::string address);

    Outbox(std::shared_ptr<EventLoop> loop, std::string address);
    ~Outbox();
    Outbox(Outbox const&) = delete;
    Outbox& operator=(Outbox const&) = delete;

    /** Comes before connect(). */
    void react(Reactions reactions) { mReactions = std::move(reactions); }

    /** Connects and waits for the bus to say hello. */
    TELLBUS_tStatus connect(TimePoint deadline);

    /** From here on nothing is sent, received or tried again; what is queued may still leave. */
    void close();

    /** Fails every call that waits. */
    void failPending(TELLBUS_tStatus status);

    /**
     * Lets what is queued leave, without any callback, and disconnects.
     * @return false if the bus has not taken all of it by the deadline
     */
    bool flush(TimePoint deadline);

    /** Sends a call; the handler gets the answer, exactly once if the status is no failure. */
    TELLBUS_tStatus call(MessagePtr message, TimePoint deadline, ReplyHandler handler);

    /** Sends what nobody answers. */
    TELLBUS_tStatus send(MessagePtr message);

    /** Sends the answer to a request of the link it came through, and of no later one. */
    TELLBUS_tStatus answer(std::uint64_t generation, MessagePtr message);

    /** False at the end of the process: no callback may begin. */
    bool mayCall() const { return !mLoop->isAborted(); }

    Mutex& mutex() RETURN_CAPABILITY(mMutex) { return mMutex; }

    /** Whether messages may be sent; a failure says why not. */
    TELLBUS_tStatus sendable() const REQUIRES(mMutex);
    bool isConnected() const REQUIRES(mMutex) { return mState == State::Connected; }
    bool isClosed() const REQUIRES(mMutex) { return mState == State::Closed; }

    /** Counts the links. */
    std::uint64_t generation() const REQUIRES(mMutex) { return mGeneration; }

    /** Sends although the bus may be slow; only while connected. */
    TELLBUS_tStatus transmit(DBusMessage* message) REQUIRES(mMutex);
    TELLBUS_tStatus transmit(DBusMessage* message, TimePoint deadline, ReplyHandler handler)
        REQUIRES(mMutex);

private:
    enum class State {
        Away,      ///< no link, or one that the bus has not said hello to
        Connected, ///< messages may be sent
        Closed,    ///< for good
    };

    void attach();
    void onReady(std::uint32_t events);
    MessagePtr firstMessage(std::uint32_t events);
    MessagePtr nextMessage(MessagePtr before);
    void handle(DBusMessage* message);
    void onAnswer(DBusMessage* message);
    void onTimer();
    void failExpired(TimePoint now);
    bool fail(TELLBUS_tStatus status, ReplyHandler handler) const;
    void link();
    void onHello(TELLBUS_tStatus status);
    void onDisconnected();

    MessagePtr takeMessage(MessagePtr before) REQUIRES(mMutex);
    void reportIfBroken() REQUIRES(mMutex);
    void retryLater() REQUIRES(mMutex);
    void settleTimer() REQUIRES(mMutex);
    void finishConnecting(TELLBUS_tStatus status) REQUIRES(mMutex);

    std::shared_ptr<EventLoop> const mLoop;
    std::string const mAddress;
    std::uint64_t mHandlerId = 0;
    Reactions mReactions;

    Mutex mFlushing; ///< held while the link is flushed; before mMutex
    bool mFlushed GUARDED_BY(mFlushing) = true;

    Mutex mMutex;
    State mState GUARDED_BY(mMutex) = State::Away;
    std::uint64_t mGeneration GUARDED_BY(mMutex) = 0;
    std::unique_ptr<BusLink> mLink GUARDED_BY(mMutex);
    std::unique_ptr<Timer> mTimer GUARDED_BY(mMutex);
    std::optional<TimePoint> mRetryAt GUARDED_BY(mMutex);
    TimePoint mConnectedSince GUARDED_BY(mMutex);
    Backoff mBackoff GUARDED_BY(mMutex);
    PendingCalls mPending GUARDED_BY(mMutex);
    /** The caller that waits in connect(). */
    std::shared_ptr<Answer<TELLBUS_tStatus>> mConnecting GUARDED_BY(mMutex);
};

} // namespace tellbus
