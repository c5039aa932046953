#include "rig/Faults.h"

#include <cstring>
#include <stdexcept>

namespace {

constexpr int LARGEST_ERRNO = 133;

int toErrno(std::string const& text) {
    for (int number = 1; number <= LARGEST_ERRNO; ++number) {
        char const* const name = strerrorname_np(number);
        if (name != nullptr && text == name) {
            return number;
        }
    }
    return toNumber(text);
}

Faults::Vanish toVanish(std::string const& text) {
    if (text == "caps") {
        return Faults::Vanish::Capabilities;
    }
    if (text == "write") {
        return Faults::Vanish::Tags;
    }
    throw std::invalid_argument("vanish=caps and vanish=write are known, not vanish=" + text);
}

void setTagsFault(Faults& faults, std::string const& text) {
    std::size_t const colon = text.find(':');
    faults.tagsErrno = toErrno(text.substr(0, colon));
    faults.tagsInfo = colon == std::string::npos ? 0 : toNumber(text.substr(colon + 1));
}

void setWord(Faults& faults, std::string const& word) {
    if (word == "open") {
        faults.refuseOpen = true;
    } else if (word == "vanish") {
        faults.vanish = Faults::Vanish::Always;
    } else if (word != "none") {
        throw std::invalid_argument("fault knows no " + word);
    }
}

void setOption(Faults& faults, std::string const& key, std::string const& value) {
    if (key == "caps") {
        faults.capabilitiesErrno = toErrno(value);
    } else if (key == "write") {
        setTagsFault(faults, value);
    } else if (key == "slow") {
        faults.delay = std::chrono::milliseconds(toNumber(value));
    } else if (key == "vanish") {
        faults.vanish = toVanish(value);
    }
}

} // namespace

Faults Faults::from(Command const& command) {
    command.allowOptions({"caps", "write", "slow", "vanish"});
    Faults faults;
    for (std::size_t index = 1; index < command.wordCount(); ++index) {
        setWord(faults, command.word(index, "a fault"));
    }
    for (auto const& [key, value] : command.options()) {
        setOption(faults, key, value);
    }
    faults.text = command.rest().substr(command.word(0, "a device id").size());
    faults.text.erase(0, faults.text.find_first_not_of(" \t"));
    if (faults.text.empty()) {
        faults.text = "none";
    }
    return faults;
}

bool Faults::vanishesFrom(bool capabilities, bool tags) const {
    return vanish == Vanish::Always || (capabilities && vanish == Vanish::Capabilities)
           || (tags && vanish == Vanish::Tags);
}
