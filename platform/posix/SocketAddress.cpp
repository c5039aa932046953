#include "platform/posix/SocketAddress.h"

#include "platform/posix/SystemCall.h"

#include <cstring>
#include <fcntl.h>
#include <string>

namespace {

bool store(sockaddr_un& address, std::string const& path) {
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return false;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return true;
}

} // namespace

int SocketAddress::prepare(char const* path) {
    std::string const whole(path);
    if (store(mAddress, whole)) {
        return 0;
    }
    std::size_t const slash = whole.rfind('/');
    if (slash == std::string::npos) {
        return ENAMETOOLONG;
    }
    std::string const folder = whole.substr(0, slash + 1);
    mFolder = Descriptor(
        uninterrupted([&] { return open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC); }));
    if (mFolder.get() == -1) {
        return errno;
    }
    bool const fits =
        store(mAddress, "/proc/self/fd/" + std::to_string(mFolder.get()) + whole.substr(slash));
    return fits ? 0 : ENAMETOOLONG;
}

int SocketAddress::connect(int fd) const {
    return uninterrupted([&] { return ::connect(fd, generic(), sizeof mAddress); });
}

int SocketAddress::bind(int fd) const {
    return ::bind(fd, generic(), sizeof mAddress);
}

sockaddr const* SocketAddress::generic() const {
    return reinterpret_cast<sockaddr const*>(&mAddress);
}
