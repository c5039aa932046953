#include "tellbus/BusAddress.h"

#include <cstdlib>
#include <regex>

namespace tellbus {

namespace {

// As libdbus does: a program with more rights than its caller does not follow its environment.
char const* environment(char const* name) {
    char const* const value = secure_getenv(name);
    return value && *value ? value : nullptr;
}

/**
 * An address as the bus prints it names this run of the bus; what comes back at the same place
 * after a restart is another run, and libdbus would refuse it for ever.
 */
std::string withoutGuid(std::string const& address) {
    std::string const shorter = std::regex_replace(address, std::regex(",guid=[^,;]*"), "");
    return std::regex_replace(shorter, std::regex(":guid=[^,;]*,?"), ":");
}

} // namespace

std::string busAddress() {
    for (char const* const name : {"DBUS_STARTER_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"}) {
        if (char const* const address = environment(name)) {
            return withoutGuid(address);
        }
    }
    return TELLBUS_SYSTEM_BUS;
}

} // namespace tellbus
