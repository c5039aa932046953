#pragma once

#include <cstddef>
#include <dbus/dbus.h>
#include <memory>
#include <string>

namespace tellbus {

struct MessageRelease {
    void operator()(DBusMessage* message) const { dbus_message_unref(message); }
};
using MessagePtr = std::unique_ptr<DBusMessage, MessageRelease>;

/** @throws std::bad_alloc for null, which is what libdbus returns without memory */
MessagePtr owned(DBusMessage* message);

/** A method call; interface may be null, text too: then the call has no argument. */
MessagePtr methodCall(char const* destination, char const* path, char const* interface,
                      char const* member, char const* text, bool noReply);

/** A call of the bus itself with string arguments. */
MessagePtr busCall(char const* member);
MessagePtr busCall(char const* member, char const* text);
MessagePtr requestName(char const* name, dbus_uint32_t flags);

MessagePtr signalMessage(char const* path, char const* interface, char const* member,
                         char const* text);

/** Who waits for the answer to which call. */
struct ReturnAddress {
    std::string caller;
    dbus_uint32_t serial = 0;
};
ReturnAddress returnAddressOf(DBusMessage* call);

/** The answer to a call; text null makes an answer without argument. */
MessagePtr reply(ReturnAddress const& to, char const* text);
/** The answer to GetAll for an object that has none. */
MessagePtr replyWithoutProperties(ReturnAddress const& to);
MessagePtr errorReply(ReturnAddress const& to, char const* name, char const* text);

/** What the one string argument of a message says. */
struct Argument {
    bool valid = false;         ///< the message has no argument or one string
    char const* text = nullptr; ///< null without argument; lives as long as the message
};
Argument argumentOf(DBusMessage* message);

/** Enough of a path to know it; one from the bus may be as long as a message. */
std::string shortened(char const* path);

/** Path, member and sender, for a line about a message. */
std::string describeMessage(DBusMessage* message);

bool isFrom(DBusMessage* message, char const* sender);

/** Like what D-Bus gives, which is null where a message has no such field. */
inline char const* orEmpty(char const* text) {
    return text ? text : "";
}

} // namespace tellbus
