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

unsigned int flagsOf(std::uint32_t events) {
    unsigned int flags = 0;
    flags |= (events & EPOLLIN) ? static_cast<unsigned int>(DBUS_WATCH_READABLE) : 0U;
    flags |= (events & EPOLLOUT) ? static_cast<unsigned int>(DBUS_WATCH_WRITABLE) : 0U;
    flags |= (events & EPOLLERR) ? static_cast<unsigned int>(DBUS_WATCH_ERROR) : 0U;
    flags |= (events & EPOLLHUP) ? static_cast<unsigned int>(DBUS_WATCH_HANGUP) : 0U;
    return flags;
}

bool waitFor(int fd, short events, TimePoint deadline) {
    pollfd descriptor{fd, events, 0};
    int result = 0;
    do {
        result = poll(&descriptor, 1, millisecondsUntil(deadline));
    } while (result == -1 && errno == EINTR);
    return result == 1;
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
    for (auto const kind : {DBUS_WATCH_READABLE, DBUS_WATCH_WRITABLE}) {
        unsigned int const flags =
            flagsOf(events)
            & static_cast<unsigned int>(kind | DBUS_WATCH_ERROR | DBUS_WATCH_HANGUP);
        // Looked up each time: what the one does can remove the other.
        DBusWatch* const watch = enabledWatch(kind);
        if (watch && flags != 0) {
            dbus_watch_handle(watch, flags);
        }
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

// The order matters. A socket closed with something still to be read resets its peer, and the bus
// then throws away what it has not read of ours.
void BusLink::farewell(TimePoint deadline) {
    mLeaving = true;
    updateEvents();
    if (isConnected()) {
        flush(deadline);
    }
    if (isConnected()) {
        shutdown(mFd, SHUT_WR);
        drain(deadline);
    }
}

void BusLink::flush(TimePoint deadline) {
    while (isConnected() && dbus_connection_has_messages_to_send(mConnection)
           && waitFor(mFd, POLLIN | POLLOUT, deadline)) {
        // Reading too: a bus that waits for us to read would never take the rest.
        ready(EPOLLIN | EPOLLOUT);
        while (next(nullptr)) {
        }
    }
}

void BusLink::drain(TimePoint deadline) const {
    std::array<char, 65536> discarded{};
    while (waitFor(mFd, POLLIN, deadline)) {
        ssize_t const got = recv(mFd, discarded.data(), discarded.size(), MSG_DONTWAIT);
        if (got == 0 || (got == -1 && errno != EAGAIN && errno != EINTR)) {
            return;
        }
    }
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
    if (!mLeaving) {
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
