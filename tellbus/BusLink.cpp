// What moves through here are bytes, between the socket and the queues of libdbus.
//
// libdbus owns the socket and its watches, and tells here when it wants to read or write; the link
// makes one epoll entry of the two. It is given only what epoll reports, and never blocks. Each
// message that is read belongs to the caller until next() takes it back, and libdbus does not
// read on before that: so the socket is read once for each message, and a sender that is too fast
// waits in the bus and not in this process.
#include "tellbus/BusLink.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <utility>

namespace tellbus {

namespace {

/**
 * How many bytes of messages may wait to be handled before libdbus stops reading: any message is
 * enough. It would read until the socket is empty otherwise, and for a message that comes alone
 * that is one more system call, which finds nothing.
 */
constexpr long READ_AHEAD = 1;

/**
 * A hang-up and an error wait until all is read that came before: told of them, libdbus drops it.
 * When there is nothing to read any more, reading finds out about them too.
 */
unsigned int readFlags(std::uint32_t events) {
    if ((events & EPOLLIN) != 0) {
        return DBUS_WATCH_READABLE;
    }
    return (events & (EPOLLHUP | EPOLLERR)) != 0 ? DBUS_WATCH_HANGUP : 0;
}

unsigned int writeFlags(std::uint32_t events) {
    return (events & EPOLLOUT) != 0 ? DBUS_WATCH_WRITABLE : 0;
}

/** The poll events that are there, 0 when none comes before the deadline. */
short waitFor(int fd, short events, TimePoint deadline) {
    pollfd descriptor{fd, events, 0};
    int result = 0;
    do {
        result = poll(&descriptor, 1, millisecondsUntil(deadline));
    } while (result == -1 && errno == EINTR);
    return result == 1 ? descriptor.revents : static_cast<short>(0);
}

} // namespace

std::unique_ptr<BusLink> BusLink::open(std::shared_ptr<EventLoop> loop, std::uint64_t handlerId,
                                       std::string const& address, std::string& problem) {
    DBusError error = DBUS_ERROR_INIT;
    DBusConnection* const connection = dbus_connection_open_private(address.c_str(), &error);
    if (!connection) {
        problem = orEmpty(error.message);
        dbus_error_free(&error);
        return nullptr;
    }
    return std::unique_ptr<BusLink>(new BusLink(std::move(loop), handlerId, connection));
}

BusLink::BusLink(std::shared_ptr<EventLoop> loop, std::uint64_t handlerId,
                 DBusConnection* connection)
    : mLoop(std::move(loop)), mHandlerId(handlerId), mConnection(connection) {
    dbus_connection_set_exit_on_disconnect(mConnection, FALSE);
    dbus_connection_set_max_message_size(mConnection, DBUS_MAXIMUM_MESSAGE_LENGTH);
    dbus_connection_set_max_received_size(mConnection, READ_AHEAD);
    dbus_connection_get_socket(mConnection, &mFd);
    dbus_connection_set_watch_functions(mConnection, onAdd, onRemove, onToggle, this, nullptr);
}

BusLink::~BusLink() {
    dbus_connection_set_watch_functions(mConnection, nullptr, nullptr, nullptr, nullptr, nullptr);
    mWatches.clear();
    updateEvents();
    dbus_connection_close(mConnection);
    dbus_connection_unref(mConnection);
}

dbus_uint32_t BusLink::send(DBusMessage* message) {
    dbus_uint32_t serial = 0;
    return dbus_connection_send(mConnection, message, &serial) ? serial : 0;
}

void BusLink::ready(std::uint32_t events) {
    mReading = true;
    handle(DBUS_WATCH_READABLE, readFlags(events));
    handle(DBUS_WATCH_WRITABLE, writeFlags(events));
}

void BusLink::handle(DBusWatchFlags kind, unsigned int flags) {
    DBusWatch* const watch = enabledWatch(kind);
    if (watch && flags != 0) {
        dbus_watch_handle(watch, flags);
    }
}

DBusWatch* BusLink::enabledWatch(DBusWatchFlags kind) const {
    auto const found = std::find_if(mWatches.begin(), mWatches.end(), [kind](DBusWatch* watch) {
        return dbus_watch_get_enabled(watch)
               && (dbus_watch_get_flags(watch) & static_cast<unsigned int>(kind)) != 0;
    });
    return found == mWatches.end() ? nullptr : *found;
}

MessagePtr BusLink::next(MessagePtr before) {
    before.reset();
    // To ask is much cheaper than to take from an empty queue, which is what follows each message.
    bool const some = dbus_connection_get_dispatch_status(mConnection) != DBUS_DISPATCH_COMPLETE;
    MessagePtr message(some ? dbus_connection_pop_message(mConnection) : nullptr);
    if (!message) {
        mReading = false;
        updateEvents();
    }
    return message;
}

// libdbus would take its lock to answer either; its watches say it too. It removes them when the
// connection breaks, and wants to write as long as something is queued.

bool BusLink::isConnected() const {
    return !mWatches.empty();
}

std::size_t BusLink::queued() const {
    bool const some = enabledWatch(DBUS_WATCH_WRITABLE) != nullptr;
    return some ? static_cast<std::size_t>(dbus_connection_get_outgoing_size(mConnection)) : 0;
}

// libdbus looks at its watches when a message is freed that had stopped it reading. With a limit
// that no message reaches it has no reason to, whenever the last one is freed.
void BusLink::stopReceiving() {
    mReceiving = false;
    updateEvents();
    dbus_connection_set_max_received_size(mConnection, DBUS_MAXIMUM_MESSAGE_LENGTH);
}

// The order matters. A socket closed with something still to be read resets its peer, and the bus
// then throws away what it has not read of ours.
bool BusLink::flushAndClose(TimePoint deadline) {
    bool const written = !dbus_connection_get_is_authenticated(mConnection) || flush(deadline);
    if (written && isConnected()) {
        shutdown(mFd, SHUT_WR);
        awaitHangUp(deadline);
    }
    return written;
}

// Tries once even if the deadline has come: several links share one when the process ends.
bool BusLink::flush(TimePoint deadline) {
    for (bool tried = false; isConnected() && dbus_connection_has_messages_to_send(mConnection);
         tried = true) {
        // A bus that waits for us to read would never take the rest.
        short const ready = waitFor(mFd, POLLIN | POLLOUT, deadline);
        if (ready == 0 || (tried && Clock::now() >= deadline)) {
            return false;
        }
        if ((ready & ~POLLOUT) != 0 && !discardInput()) {
            return true;
        }
        if ((ready & POLLOUT) != 0) {
            handle(DBUS_WATCH_WRITABLE, DBUS_WATCH_WRITABLE);
        }
    }
    return true;
}

void BusLink::awaitHangUp(TimePoint deadline) const {
    while (Clock::now() < deadline && waitFor(mFd, POLLIN, deadline) != 0 && discardInput()) {
    }
}

/** False at the end of what the bus sends. */
bool BusLink::discardInput() const {
    std::array<char, 65536> discarded{};
    ssize_t const got = recv(mFd, discarded.data(), discarded.size(), MSG_DONTWAIT);
    return got > 0 || (got == -1 && (errno == EAGAIN || errno == EINTR));
}

dbus_bool_t BusLink::onAdd(DBusWatch* watch, void* link) {
    auto* const self = static_cast<BusLink*>(link);
    self->mWatches.push_back(watch);
    self->updateEvents();
    return TRUE;
}

void BusLink::onRemove(DBusWatch* watch, void* link) {
    auto* const self = static_cast<BusLink*>(link);
    auto& watches = self->mWatches;
    watches.erase(std::remove(watches.begin(), watches.end(), watch), watches.end());
    self->updateEvents();
}

/** Reading stops at a message and goes on after it: epoll needs to know only what holds then. */
void BusLink::onToggle(DBusWatch* /*watch*/, void* link) {
    auto* const self = static_cast<BusLink*>(link);
    if (!self->mReading) {
        self->updateEvents();
    }
}

/** libdbus has one watch to read and one to write; epoll has one entry for both. */
void BusLink::updateEvents() {
    std::uint32_t events = 0;
    if (mReceiving) {
        events |= enabledWatch(DBUS_WATCH_READABLE) ? static_cast<std::uint32_t>(EPOLLIN) : 0;
        events |= enabledWatch(DBUS_WATCH_WRITABLE) ? static_cast<std::uint32_t>(EPOLLOUT) : 0;
    }
    if (events == mEvents) {
        return;
    }
    if (mEvents == 0) {
        mLoop->watch(mFd, events, mHandlerId);
    } else if (events == 0) {
        mLoop->unwatch(mFd);
    } else {
        mLoop->rewatch(mFd, events, mHandlerId);
    }
    mEvents = events;
}

} // namespace tellbus
