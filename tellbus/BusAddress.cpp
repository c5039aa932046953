#include "tellbus/BusAddress.h"

#include <algorithm>
#include <cstdlib>

namespace tellbus {

namespace {

// As libdbus does: a program with more rights than its caller does not follow its environment.
char const* environment(char const* name) {
    char const* const value = secure_getenv(name);
    return value && *value ? value : nullptr;
}

/** Where the value that begins at or behind the place ends. */
std::size_t endOfValue(std::string const& address, std::size_t from) {
    return std::min(address.find_first_of(",;", from), address.size());
}

/**
 * An address as the bus prints it names this run of the bus; what comes back at the same place
 * after a restart is another run, and libdbus would refuse it for ever.
 */
std::string withoutGuid(std::string address) {
    constexpr std::size_t COMMA = 1;
    std::size_t at = 0;
    while ((at = address.find(",guid=")) != std::string::npos) {
        address.erase(at, endOfValue(address, at + COMMA) - at);
    }
    while ((at = address.find(":guid=")) != std::string::npos) {
        std::size_t const end = endOfValue(address, at);
        bool const more = end < address.size() && address[end] == ',';
        address.erase(at + 1, end + (more ? COMMA : 0) - (at + 1));
    }
    return address;
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
