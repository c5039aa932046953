#include "rig/Faults.h"

#include <cstring>
#include <map>
#include <set>
#include <stdexcept>
#include <string>

namespace {

constexpr int LARGEST_ERRNO = 133;

int toErrno(std::string const& text) {
    for (int number = 1; number <= LARGEST_ERRNO; ++number) {
        char const* const name = strerrorname_np(number);
        if (name != nullptr && text == name) {
            return number;
        }
    }
    int const number = toNumber(text);
    if (number <= 0) {
        throw std::invalid_argument(text + " is no errno");
    }
    return number;
}

void setCapabilities(Faults& faults, std::string const& text) {
    faults.capabilitiesErrno = toErrno(text);
}

void setTags(Faults& faults, std::string const& text) {
    std::size_t const colon = text.find(':');
    faults.tagsErrno = toErrno(text.substr(0, colon));
    faults.tagsInfo = colon == std::string::npos ? 0 : toNumber(text.substr(colon + 1));
}

void setDelay(Faults& faults, std::string const& text) {
    int const milliseconds = toNumber(text);
    if (milliseconds < 0) {
        throw std::invalid_argument(text + " is below 0");
    }
    faults.delay = std::chrono::milliseconds(milliseconds);
}

void setVanish(Faults& faults, std::string const& text) {
    if (text == "caps") {
        faults.vanish = Faults::Vanish::OnCapabilities;
    } else if (text == "write") {
        faults.vanish = Faults::Vanish::OnTags;
    } else {
        throw std::invalid_argument("\"" + text + "\" is no exchange");
    }
}

struct Option {
    void (*set)(Faults&, std::string const&);
    char const* cure;
};

std::map<std::string, Option> const& knownOptions() {
    static std::map<std::string, Option> const options{
        {"caps",
         {setCapabilities, "give the name of an errno or a number above 0, as in caps=EIO"}},
        {"write",
         {setTags, "give the name of an errno or a number above 0, as in write=ENOSPC, and "
                   "behind a colon the info word if it matters, as in write=ENOSPC:7"}},
        {"slow", {setDelay, "give milliseconds from 0 on, as in slow=200"}},
        {"vanish", {setVanish, "give caps or write, or vanish alone for every request"}},
    };
    return options;
}

void setOption(Faults& faults, std::string const& key, std::string const& value) {
    Option const& option = knownOptions().at(key);
    try {
        option.set(faults, value);
    } catch (std::invalid_argument const& fault) {
        throw std::invalid_argument(key + "=" + value + ": " + fault.what() + "; " + option.cure);
    }
}

/** What was ordered, as it stands in the line. */
std::string textOf(Command const& command) {
    std::string text = command.rest().substr(command.word(0, "a device id").size());
    text.erase(0, text.find_first_not_of(" \t"));
    return text.empty() ? "none" : text;
}

} // namespace

Faults Faults::from(Command const& command) {
    std::set<std::string> keys;
    for (auto const& [key, option] : knownOptions()) {
        keys.insert(key);
    }
    command.allowOnly(1, {"open", "vanish", "none"}, keys);
    Faults faults;
    faults.refuseOpen = command.hasWord("open");
    faults.vanish = command.hasWord("vanish") ? Vanish::Always : Vanish::Never;
    for (auto const& [key, value] : command.options()) {
        setOption(faults, key, value);
    }
    faults.text = textOf(command);
    return faults;
}

bool Faults::vanishesFrom(DriverRequest request) const {
    return vanish == Vanish::Always
           || (request == DriverRequest::GetCapabilities && vanish == Vanish::OnCapabilities)
           || (request == DriverRequest::SendTags && vanish == Vanish::OnTags);
}
