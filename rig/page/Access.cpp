#include "rig/page/Access.h"

#include <Poco/Net/IPAddress.h>
#include <charconv>
#include <stdexcept>

namespace {

constexpr char SCHEME[] = "http://";

[[noreturn]] void refuse(std::string const& text) {
    throw std::invalid_argument(
        "songlatch-rig: \"" + text
        + "\" is no place for the page; give a port, as in --page 8080, or an "
          "address and a port, as in --page 127.0.0.1:8080 or [::1]:8080");
}

std::uint16_t portIn(std::string const& text, std::string const& whole) {
    std::uint16_t port = 0;
    char const* const end = text.data() + text.size();
    auto const [stop, error] = std::from_chars(text.data(), end, port);
    if (error != std::errc() || stop != end || text.empty()) {
        refuse(whole);
    }
    return port;
}

std::string withoutBrackets(std::string const& host) {
    bool const bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    return bracketed ? host.substr(1, host.size() - 2) : host;
}

/** The name in "name", "name:port" or "[name]:port", if the port is this one. */
std::string nameOf(std::string const& host, std::uint16_t port) {
    std::string const ending = ":" + std::to_string(port);
    bool const ends = host.size() > ending.size()
                      && host.compare(host.size() - ending.size(), ending.size(), ending) == 0;
    if (ends) {
        return withoutBrackets(host.substr(0, host.size() - ending.size()));
    }
    return port == 80 ? withoutBrackets(host) : "";
}

bool isAddress(std::string const& text) {
    Poco::Net::IPAddress address;
    return Poco::Net::IPAddress::tryParse(text, address);
}

} // namespace

PageAddress PageAddress::from(std::string const& text) {
    PageAddress address;
    std::size_t const colon = text.rfind(':');
    if (colon == std::string::npos) {
        address.port = portIn(text, text);
        return address;
    }
    address.host = withoutBrackets(text.substr(0, colon));
    address.port = portIn(text.substr(colon + 1), text);
    if (!isAddress(address.host)) {
        refuse(text);
    }
    return address;
}

bool PageAddress::isLoopback() const {
    return Poco::Net::IPAddress(host).isLoopback();
}

std::string PageAddress::url() const {
    Poco::Net::IPAddress const address(host);
    std::string const shown = address.isWildcard() ? "127.0.0.1" : host;
    bool const bracketed = shown.find(':') != std::string::npos;
    return SCHEME + (bracketed ? "[" + shown + "]" : shown) + ":" + std::to_string(port) + "/";
}

bool Access::allowsHost(std::string const& host) const {
    std::string const name = nameOf(host, mAddress.port);
    if (mAddress.isLoopback()) {
        return name == mAddress.host || name == "localhost";
    }
    // Addresses cannot be made to lead elsewhere, names can.
    return name == "localhost" || isAddress(name);
}

bool Access::allowsOrigin(std::string const& origin) const {
    if (origin.empty()) {
        return true;
    }
    return origin.rfind(SCHEME, 0) == 0 && allowsHost(origin.substr(sizeof SCHEME - 1));
}
