#include "files/XMLTools.h"

#include "tagdata/CTagIdMgr.h"

#include <array>
#include <ctime>

XMLTools::XMLTools(unsigned int offset, bool debug) : nowOffset(offset) {
    log.DEBUG = debug;
}

XMLTools::~XMLTools() = default;

std::string XMLTools::FormattedNow() {
    // The offset counts elements of the local, not seconds. Every caller has 0.
    std::time_t const now = std::time(nullptr);
    std::array<char, 22> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&now + nowOffset));
    return text.data();
}
