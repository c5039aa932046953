#pragma once

#include "tellbus/Clock.h"
#include "tellbus/EventLoop.h"
#include "tellbus/Message.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tellbus {

/**
 * One socket to a bus: a private libdbus connection and its place in the event loop.
 *
 * It has no lock. Its owner lets only one thread in at a time, so that libdbus never sees two and
 * a sender may write to the socket itself. No operation waits but flushAndClose(), and open() while
 * the bus has more connections to accept than it lets wait.
 */
class BusLink {
public:
    /** Connects; nothing has been said yet. Null, and what went wrong in problem, on failure. */
    static std::unique_ptr<BusLink> open(std::shared_ptr<EventLoop> loop, std::uint64_t handlerId,
                                         std::string const& address, std::string& problem);
    ~BusLink();
    BusLink(BusLink const&) = delete;
    BusLink& operator=(BusLink const&) = delete;

    /**
     * Writes a message to the socket, or queues what the socket does not take.
     * @return the message's serial, 0 without memory
     */
    dbus_uint32_t send(DBusMessage* message);

    /** Reads and writes as the epoll events say; after it next() is called until it has no more. */
    void ready(std::uint32_t events);

    /**
     * The next message that has been read whole, null if there is none. Takes back the one before:
     * nothing more is read while a message is out.
     */
    MessagePtr next(MessagePtr before);

    bool isConnected() const;

    /** Bytes that the socket has not taken yet. */
    std::size_t queued() const;

    /**
     * Nothing is received from here on. After it the link may end on any thread, also while the
     * library thread still has a message of it.
     */
    void stopReceiving();

    /**
     * Ends a link that has stopped receiving so that all that was sent arrives: writes the rest,
     * closes this direction and waits until the bus has closed the other one.
     * @return false if the bus has not taken everything by the deadline
     */
    bool flushAndClose(TimePoint deadline);

private:
    BusLink(std::shared_ptr<EventLoop> loop, std::uint64_t handlerId, DBusConnection* connection);

    static dbus_bool_t onAdd(DBusWatch* watch, void* link);
    static void onRemove(DBusWatch* watch, void* link);
    static void onToggle(DBusWatch* watch, void* link);

    DBusWatch* enabledWatch(DBusWatchFlags kind) const;
    void updateEvents();
    void handle(DBusWatchFlags kind, unsigned int flags);
    bool flush(TimePoint deadline);
    void awaitHangUp(TimePoint deadline) const;
    bool discardInput() const;

    std::shared_ptr<EventLoop> mLoop;
    std::uint64_t mHandlerId;
    DBusConnection* mConnection;
    int mFd = -1;
    std::uint32_t mEvents = 0;
    bool mReceiving = true;
    bool mReading = false; ///< from ready() to the end of what it read
    std::vector<DBusWatch*> mWatches;
};

} // namespace tellbus
