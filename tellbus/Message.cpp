#include "tellbus/Message.h"

#include <cstring>
#include <new>
#include <string_view>

namespace tellbus {

namespace {

void check(dbus_bool_t done) {
    if (!done) {
        throw std::bad_alloc();
    }
}

void append(MessagePtr const& message, char const* text) {
    check(dbus_message_append_args(message.get(), DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID));
}

MessagePtr answer(int type, ReturnAddress const& to) {
    MessagePtr message = owned(dbus_message_new(type));
    check(dbus_message_set_reply_serial(message.get(), to.serial));
    check(dbus_message_set_destination(message.get(),
                                       to.caller.empty() ? nullptr : to.caller.c_str()));
    dbus_message_set_no_reply(message.get(), TRUE);
    return message;
}

} // namespace

MessagePtr owned(DBusMessage* message) {
    check(message != nullptr);
    return MessagePtr(message);
}

MessagePtr methodCall(char const* destination, char const* path, char const* interface,
                      char const* member, char const* text, bool noReply) {
    MessagePtr message = owned(dbus_message_new_method_call(destination, path, interface, member));
    dbus_message_set_no_reply(message.get(), noReply);
    if (text) {
        append(message, text);
    }
    return message;
}

MessagePtr busCall(char const* member) {
    return methodCall(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, member, nullptr,
                      false);
}

MessagePtr busCall(char const* member, char const* text) {
    return methodCall(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, member, text, false);
}

MessagePtr requestName(char const* name, dbus_uint32_t flags) {
    MessagePtr message = busCall("RequestName", name);
    check(dbus_message_append_args(message.get(), DBUS_TYPE_UINT32, &flags, DBUS_TYPE_INVALID));
    return message;
}

MessagePtr signalMessage(char const* path, char const* interface, char const* member,
                         char const* text) {
    MessagePtr message = owned(dbus_message_new_signal(path, interface, member));
    append(message, text);
    return message;
}

ReturnAddress returnAddressOf(DBusMessage* call) {
    return {orEmpty(dbus_message_get_sender(call)), dbus_message_get_serial(call)};
}

MessagePtr reply(ReturnAddress const& to, char const* text) {
    MessagePtr message = answer(DBUS_MESSAGE_TYPE_METHOD_RETURN, to);
    if (text) {
        append(message, text);
    }
    return message;
}

MessagePtr replyWithoutProperties(ReturnAddress const& to) {
    MessagePtr message = answer(DBUS_MESSAGE_TYPE_METHOD_RETURN, to);
    DBusMessageIter arguments;
    DBusMessageIter properties;
    dbus_message_iter_init_append(message.get(), &arguments);
    check(dbus_message_iter_open_container(&arguments, DBUS_TYPE_ARRAY, "{sv}", &properties));
    check(dbus_message_iter_close_container(&arguments, &properties));
    return message;
}

MessagePtr errorReply(ReturnAddress const& to, char const* name, char const* text) {
    MessagePtr message = answer(DBUS_MESSAGE_TYPE_ERROR, to);
    check(dbus_message_set_error_name(message.get(), name));
    append(message, text);
    return message;
}

Argument argumentOf(DBusMessage* message) {
    char const* const signature = dbus_message_get_signature(message);
    Argument argument;
    if (signature[0] == '\0') {
        argument.valid = true;
    } else if (std::strcmp(signature, DBUS_TYPE_STRING_AS_STRING) == 0) {
        argument.valid = dbus_message_get_args(message, nullptr, DBUS_TYPE_STRING, &argument.text,
                                               DBUS_TYPE_INVALID);
    }
    return argument;
}

std::string shortened(char const* path) {
    constexpr std::size_t ENOUGH = 200;
    std::string_view const whole = path;
    return std::string(whole.substr(0, ENOUGH)) + (whole.size() > ENOUGH ? "..." : "");
}

std::string describeMessage(DBusMessage* message) {
    return shortened(orEmpty(dbus_message_get_path(message))) + " "
           + orEmpty(dbus_message_get_member(message)) + " from "
           + orEmpty(dbus_message_get_sender(message));
}

bool isFrom(DBusMessage* message, char const* sender) {
    return std::strcmp(orEmpty(dbus_message_get_sender(message)), sender) == 0;
}

} // namespace tellbus
