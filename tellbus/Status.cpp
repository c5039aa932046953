#include "tellbus/Status.h"

#include <array>

namespace tellbus {

namespace {

struct ErrorName {
    char const* name;
    TELLBUS_tStatus status;
};

constexpr std::array<ErrorName, 6> ERROR_NAMES = {{
    {DBUS_ERROR_SERVICE_UNKNOWN, TELLBUS_E_NO_SERVICE},
    {DBUS_ERROR_NAME_HAS_NO_OWNER, TELLBUS_E_NO_SERVICE},
    {DBUS_ERROR_ACCESS_DENIED, TELLBUS_E_REFUSED},
    {DBUS_ERROR_LIMITS_EXCEEDED, TELLBUS_E_QUEUE_FULL},
    {DBUS_ERROR_NO_REPLY, TELLBUS_E_NO_REPLY},
    {DBUS_ERROR_TIMEOUT, TELLBUS_E_TIMEOUT},
}};

} // namespace

TELLBUS_tStatus statusOf(DBusMessage* answer) {
    if (dbus_message_get_type(answer) != DBUS_MESSAGE_TYPE_ERROR) {
        return TELLBUS_OK;
    }
    // In the mouth of a service these names are words of its own: it was there, and answered.
    bool const ofTheBus = dbus_message_has_sender(answer, DBUS_SERVICE_DBUS);
    for (auto const& error : ERROR_NAMES) {
        if (ofTheBus && dbus_message_is_error(answer, error.name)) {
            return error.status;
        }
    }
    return TELLBUS_E_REMOTE;
}

} // namespace tellbus
