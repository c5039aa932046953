#pragma once

#include "tellbus/Clock.h"
#include "tellbus/Message.h"
#include "tellbus/tellbus.h"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace tellbus {

/**
 * What waits for the answer to one call.
 *
 * It is called once, on the library's thread: with the answer, which may be an error reply, or with
 * a failure and null if there is none.
 */
using ReplyHandler = std::function<void(TELLBUS_tStatus status, DBusMessage* reply)>;

/** The calls of one link that wait for their answers. Code that takes a handler out has to call it.
 */
class PendingCalls {
public:
    /** destination is the name that the call went to. */
    void add(dbus_uint32_t serial, ReplyHandler handler, TimePoint deadline,
             std::string destination = {});

    /**
     * Whether somebody waits for the answer and the sender cannot be the one who was called. Who
     * owned a well-known name when the call reached it only the bus knows, which also answers in
     * place of others; so for such a name each sender will do.
     */
    bool isForged(dbus_uint32_t serial, std::string const& sender) const;

    /** The handler of one call; empty if nobody waits (any more). */
    ReplyHandler take(dbus_uint32_t serial);

    /** The handler with the earliest deadline, if that has come; empty if there is none (left). */
    ReplyHandler takeExpired(TimePoint now);

    /** The handler of the first call; empty if there is none (left). */
    ReplyHandler takeFirst();

    std::optional<TimePoint> earliest() const;

private:
    struct Call {
        ReplyHandler handler;
        TimePoint deadline;
        std::string destination;
    };

    std::map<dbus_uint32_t, Call> mCalls;
    std::set<std::pair<TimePoint, dbus_uint32_t>> mDeadlines;
};

} // namespace tellbus
