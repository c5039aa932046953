#include "tellbus/BusAddress.h"

#include <cstdlib>

namespace tellbus {

namespace {

// As libdbus does: a program with more rights than its caller does not follow its environment.
char const* environment(char const* name) {
    char const* const value = secure_getenv(name);
    return value && *value ? value : nullptr;
}

} // namespace

std::string busAddress() {
    for (char const* const name : {"DBUS_STARTER_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"}) {
        if (char const* const address = environment(name)) {
            return address;
        }
    }
    return TELLBUS_SYSTEM_BUS;
}

} // namespace tellbus
