#include "tools/BusDaemon.h"

#include "tools/Failures.h"
#include "tools/ServiceLink.h"

#include <algorithm>
#include <cstdlib>
#include <dbus/dbus.h>

namespace {

constexpr int ANSWER_MILLISECONDS = 10000;

/** An error that libdbus fills, freed with it. */
class BusError {
public:
    BusError() { dbus_error_init(&mError); }
    ~BusError() { dbus_error_free(&mError); }
    BusError(BusError const&) = delete;
    BusError& operator=(BusError const&) = delete;

    DBusError* address() { return &mError; }
    std::string name() const { return mError.name == nullptr ? "" : mError.name; }

private:
    DBusError mError;
};

DBusBusType busType() {
    return std::getenv("DBUS_STARTER_ADDRESS") == nullptr ? DBUS_BUS_SYSTEM : DBUS_BUS_STARTER;
}

} // namespace

void BusDaemon::Close::operator()(DBusConnection* connection) const {
    dbus_connection_close(connection);
    dbus_connection_unref(connection);
}

void BusDaemon::Unref::operator()(DBusMessage* message) const {
    dbus_message_unref(message);
}

BusDaemon::BusDaemon() {
    BusError error;
    mConnection.reset(dbus_bus_get_private(busType(), error.address()));
    if (!mConnection) {
        throw Failure("there is no service bus at " + busAddress(), Unreachable);
    }
    dbus_connection_set_exit_on_disconnect(mConnection.get(), FALSE);
}

BusDaemon::Message BusDaemon::ask(char const* method, std::string const* name) {
    Message const call(dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS,
                                                    DBUS_INTERFACE_DBUS, method));
    if (name != nullptr) {
        char const* const text = name->c_str();
        dbus_message_append_args(call.get(), DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID);
    }
    BusError error;
    return Message(dbus_connection_send_with_reply_and_block(mConnection.get(), call.get(),
                                                             ANSWER_MILLISECONDS, error.address()));
}

std::optional<std::uint32_t> BusDaemon::number(char const* method, std::string const& name) {
    Message const reply = ask(method, &name);
    dbus_uint32_t value = 0;
    bool const isNumber =
        reply
        && dbus_message_get_args(reply.get(), nullptr, DBUS_TYPE_UINT32, &value, DBUS_TYPE_INVALID)
               != 0;
    return isNumber ? std::make_optional<std::uint32_t>(value) : std::nullopt;
}

std::optional<std::uint32_t> BusDaemon::processOf(std::string const& name) {
    return number("GetConnectionUnixProcessID", name);
}

std::optional<std::uint32_t> BusDaemon::userOf(std::string const& name) {
    return number("GetConnectionUnixUser", name);
}

bool BusDaemon::canStart(std::string const& name) {
    Message const reply = ask("ListActivatableNames", nullptr);
    char** names = nullptr;
    int count = 0;
    if (!reply
        || dbus_message_get_args(reply.get(), nullptr, DBUS_TYPE_ARRAY, DBUS_TYPE_STRING, &names,
                                 &count, DBUS_TYPE_INVALID)
               == 0) {
        return false;
    }
    bool const isThere = std::find(names, names + count, name) != names + count;
    dbus_free_string_array(names);
    return isThere;
}

std::string BusDaemon::errorOf(std::string const& name, std::string const& path,
                               std::string const& method, std::string const& text) {
    Message const call(
        dbus_message_new_method_call(name.c_str(), path.c_str(), name.c_str(), method.c_str()));
    char const* const argument = text.c_str();
    dbus_message_append_args(call.get(), DBUS_TYPE_STRING, &argument, DBUS_TYPE_INVALID);
    dbus_message_set_auto_start(call.get(), FALSE);
    BusError error;
    Message const reply(dbus_connection_send_with_reply_and_block(
        mConnection.get(), call.get(), ANSWER_MILLISECONDS, error.address()));
    return error.name();
}
