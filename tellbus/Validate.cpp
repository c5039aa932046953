#include "tellbus/Validate.h"

#include <algorithm>
#include <cstring>
#include <dbus/dbus.h>

namespace tellbus {

namespace {

using Check = dbus_bool_t (*)(char const*, DBusError*);

bool passes(Check check, char const* text) {
    return text && check(text, nullptr);
}

bool isLocal(char const* name) {
    // A message that names libdbus's own place makes the bus hang up.
    return std::strcmp(name, DBUS_INTERFACE_LOCAL) == 0;
}

} // namespace

bool isInterface(char const* name) {
    return passes(dbus_validate_interface, name) && !isLocal(name);
}

bool isBusName(char const* name) {
    return passes(dbus_validate_bus_name, name) && !isLocal(name);
}

bool isServiceName(char const* name) {
    return isBusName(name) && isInterface(name);
}

bool isPath(char const* path) {
    return passes(dbus_validate_path, path) && std::strlen(path) <= TELLBUS_MAX_PATH
           && std::strcmp(path, DBUS_PATH_LOCAL) != 0;
}

bool isMember(char const* name) {
    return passes(dbus_validate_member, name);
}

bool isErrorName(char const* name) {
    return passes(dbus_validate_error_name, name);
}

TELLBUS_tStatus checkText(char const* text) {
    if (!text) {
        return TELLBUS_E_ARGUMENT;
    }
    if (strnlen(text, TELLBUS_MAX_TEXT + std::size_t{1}) > TELLBUS_MAX_TEXT) {
        return TELLBUS_E_TOO_LARGE;
    }
    return dbus_validate_utf8(text, nullptr) ? TELLBUS_OK : TELLBUS_E_TEXT;
}

std::string nameSpelledBy(std::string const& path) {
    std::string name = path.substr(1);
    std::replace(name.begin(), name.end(), '/', '.');
    return name;
}

} // namespace tellbus
