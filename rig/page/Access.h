#pragma once

#include <cstdint>
#include <string>

/** Where the page is served. */
struct PageAddress {
    std::string host = "127.0.0.1";
    std::uint16_t port = 0;

    /** Reads "PORT", "ADDRESS:PORT" or "[ADDRESS]:PORT". @throws std::invalid_argument with the
     * cure */
    static PageAddress from(std::string const& text);

    /** Whether nobody outside this machine reaches it. */
    bool isLoopback() const;

    /** For a browser on this machine. */
    std::string url() const;
};

/**
 * Who may talk to the page. A browser names in "Host" the address that its user sees, and in
 * "Origin" the page that asks: another site's script, or a foreign name that was made to lead here,
 * shows in one of the two.
 */
class Access {
public:
    explicit Access(PageAddress address) : mAddress(std::move(address)) {}

    /** Whether this "Host" is the page's own. */
    bool allowsHost(std::string const& host) const;

    /** Whether this "Origin" is the page's own; what is no browser sends none. */
    bool allowsOrigin(std::string const& origin) const;

private:
    PageAddress mAddress;
};
