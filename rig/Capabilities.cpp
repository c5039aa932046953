#include "rig/Capabilities.h"

#include "rig/Command.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace {

std::uint16_t toCapability(std::string const& text) {
    int const number = toNumber(text);
    if (number < 0 || number > std::numeric_limits<std::uint16_t>::max()) {
        throw std::invalid_argument(text + " is not within 0 and 65535");
    }
    return static_cast<std::uint16_t>(number);
}

Capabilities capabilitiesIn(std::string const& text) {
    Capabilities capabilities;
    for (std::size_t at = 0; at <= text.size();) {
        std::size_t const comma = std::min(text.find(',', at), text.size());
        capabilities.push_back(toCapability(text.substr(at, comma - at)));
        at = comma + 1;
    }
    return capabilities;
}

} // namespace

Capabilities toCapabilities(std::string const& text) {
    try {
        return text == "none" ? Capabilities() : capabilitiesIn(text);
    } catch (std::invalid_argument const& fault) {
        throw std::invalid_argument("capability list \"" + text + "\": " + fault.what()
                                    + "; give numbers from 0 to 65535 joined by commas, as in 8,3,"
                                      " or none");
    }
}
