#include "platform/ControlNode.h"

#include "platform/posix/Deadline.h"
#include "platform/posix/SocketAddress.h"
#include "platform/posix/SystemCall.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>

namespace {

constexpr mode_t NEW_FILE_MODE = 0666;

bool isSocket(char const* path) {
    struct stat node {};
    return stat(path, &node) == 0 && S_ISSOCK(node.st_mode);
}

/** Connecting waits for room in the driver's queue, and takes its limit from the socket. */
void limitConnecting(int fd) {
    if (hasDriverDeadline()) {
        auto const left = std::max(driverTimeLeft(), std::chrono::milliseconds(1));
        timeval const limit{left.count() / 1000, left.count() % 1000 * 1000};
        setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    }
}

int connectTo(char const* path) {
    SocketAddress address;
    int const error = address.prepare(path);
    if (error != 0) {
        return failWith(error);
    }
    Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (fd.get() == -1) {
        return -1;
    }
    limitConnecting(fd.get());
    if (address.connect(fd.get()) == -1) {
        return errno == EAGAIN && hasDriverDeadline() ? failWith(ETIMEDOUT) : -1;
    }
    return fd.release();
}

} // namespace

int openControlNode(char const* path, int flags) {
    if (path == nullptr) {
        return failWith(EFAULT);
    }
    if (isSocket(path)) {
        return connectTo(path);
    }
    return uninterrupted([&] { return open(path, flags | O_CLOEXEC, NEW_FILE_MODE); });
}
