#pragma once

#include <dbus/dbus.h>
#include <memory>
#include <stdexcept>
#include <string>

struct RawMessageRelease {
    void operator()(DBusMessage* message) const { dbus_message_unref(message); }
};
using RawMessage = std::unique_ptr<DBusMessage, RawMessageRelease>;

/** A client that is not ours: it speaks D-Bus directly and may say what libtellbus never would. */
class RawClient {
public:
    explicit RawClient(std::string const& address)
        : mConnection(dbus_connection_open_private(address.c_str(), nullptr)) {
        if (!mConnection || !dbus_bus_register(mConnection, nullptr)) {
            throw std::runtime_error("no connection to the bus");
        }
        dbus_connection_set_exit_on_disconnect(mConnection, FALSE);
    }
    ~RawClient() {
        dbus_connection_close(mConnection);
        dbus_connection_unref(mConnection);
    }
    RawClient(RawClient const&) = delete;
    RawClient& operator=(RawClient const&) = delete;

    std::string name() const { return dbus_bus_get_unique_name(mConnection); }

    bool own(char const* name) {
        return dbus_bus_request_name(mConnection, name, DBUS_NAME_FLAG_DO_NOT_QUEUE, nullptr)
               == DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER;
    }
    void disown(char const* name) { dbus_bus_release_name(mConnection, name, nullptr); }

    /** Hears signals from now on. */
    void match(char const* rule) {
        DBusError error = DBUS_ERROR_INIT;
        dbus_bus_add_match(mConnection, rule, &error);
        dbus_error_free(&error);
    }

    static RawMessage methodCall(char const* name, char const* path, char const* interface,
                                 char const* method) {
        return RawMessage(dbus_message_new_method_call(name, path, interface, method));
    }

    static RawMessage signal(char const* path, char const* interface, char const* member) {
        return RawMessage(dbus_message_new_signal(path, interface, member));
    }

    static void append(RawMessage const& message, char const* text) {
        dbus_message_append_args(message.get(), DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID);
    }

    /** Sends and waits until it is written. */
    void send(RawMessage const& message) {
        dbus_connection_send(mConnection, message.get(), nullptr);
        dbus_connection_flush(mConnection);
    }

    /** The string in the reply, "" if there is none, or the name of the error. */
    std::string call(RawMessage const& message) {
        std::string error;
        RawMessage const reply = replyTo(message, error);
        if (!reply) {
            return error;
        }
        char const* text = "";
        dbus_message_get_args(reply.get(), nullptr, DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID);
        return text;
    }

    /** The types in the reply, or the name of the error. */
    std::string typesOf(RawMessage const& message) {
        std::string error;
        RawMessage const reply = replyTo(message, error);
        return reply ? dbus_message_get_signature(reply.get()) : error;
    }

    /** Calls and gives the text; the interface may be null. */
    std::string call(char const* name, char const* path, char const* interface,
                     char const* method) {
        return call(methodCall(name, path, interface, method));
    }

    /** How many match rules all the clients of the bus have, or have that contain the text. */
    std::size_t matchRules(std::string const& text = {}) {
        RawMessage const reply(dbus_connection_send_with_reply_and_block(
            mConnection,
            methodCall(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, "org.freedesktop.DBus.Debug.Stats",
                       "GetAllMatchRules")
                .get(),
            60000, nullptr));
        if (!reply) {
            throw std::runtime_error("the bus does not tell its match rules");
        }
        std::size_t count = 0;
        DBusMessageIter all;
        DBusMessageIter client;
        DBusMessageIter entry;
        DBusMessageIter rule;
        dbus_message_iter_init(reply.get(), &all);
        for (dbus_message_iter_recurse(&all, &client);
             dbus_message_iter_get_arg_type(&client) != DBUS_TYPE_INVALID;
             dbus_message_iter_next(&client)) {
            dbus_message_iter_recurse(&client, &entry);
            dbus_message_iter_next(&entry);
            for (dbus_message_iter_recurse(&entry, &rule);
                 dbus_message_iter_get_arg_type(&rule) != DBUS_TYPE_INVALID;
                 dbus_message_iter_next(&rule)) {
                char const* words = nullptr;
                dbus_message_iter_get_basic(&rule, &words);
                count += std::string(words).find(text) != std::string::npos ? 1U : 0U;
            }
        }
        return count;
    }

    /** Whether a message of that type is waiting or comes before the bus has answered a call. */
    bool receives(int type) {
        call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetId");
        while (RawMessage const message{dbus_connection_pop_message(mConnection)}) {
            if (dbus_message_get_type(message.get()) == type) {
                return true;
            }
        }
        return false;
    }

    /** The next message of that type; null at the end of the connection. */
    RawMessage next(int type) {
        do {
            while (RawMessage message{dbus_connection_pop_message(mConnection)}) {
                if (dbus_message_get_type(message.get()) == type) {
                    return message;
                }
            }
        } while (dbus_connection_read_write(mConnection, -1));
        return nullptr;
    }

    /** The string of the next message of that type that has one argument, which is a string. */
    std::string wait(int type) {
        while (RawMessage const message = next(type)) {
            char const* text = "";
            if (dbus_message_has_signature(message.get(), DBUS_TYPE_STRING_AS_STRING)
                && !dbus_message_is_signal(message.get(), DBUS_INTERFACE_DBUS, "NameAcquired")
                && dbus_message_get_args(message.get(), nullptr, DBUS_TYPE_STRING, &text,
                                         DBUS_TYPE_INVALID)) {
                return text;
            }
        }
        return std::string();
    }

    /** From now on only sends: what the bus has for this client stays with the bus. */
    void stopReading() { dbus_connection_set_max_received_size(mConnection, 0); }

    DBusConnection* connection() const { return mConnection; }

private:
    /** Null, with the name of the error, if the call fails. */
    RawMessage replyTo(RawMessage const& call, std::string& errorName) {
        DBusError error = DBUS_ERROR_INIT;
        RawMessage reply(
            dbus_connection_send_with_reply_and_block(mConnection, call.get(), 60000, &error));
        if (!reply) {
            errorName = error.name;
            dbus_error_free(&error);
        }
        return reply;
    }

    DBusConnection* mConnection;
};
