#pragma once

#include "platform/posix/Descriptor.h"

#include <sys/socket.h>
#include <sys/un.h>

/**
 * The address of a socket at a path of any length.
 *
 * A path that does not fit the address is reached through a descriptor of its folder, which stays
 * open as long as this object. Where that cannot be made, prepare() tells why.
 */
class SocketAddress {
public:
    /** Fills the address. @return 0 or an errno value */
    int prepare(char const* path);

    int connect(int fd) const;
    int bind(int fd) const;

private:
    sockaddr const* generic() const;

    Descriptor mFolder;
    sockaddr_un mAddress{};
};
