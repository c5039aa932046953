#include "platform/ControlNode.h"

#include <cerrno>
#include <fcntl.h>

int openControlNode(char const* path, int flags) {
    constexpr mode_t NEW_FILE_MODE = 0666;
    if (path == nullptr) {
        errno = EFAULT;
        return -1;
    }
    return open(path, flags | O_CLOEXEC, NEW_FILE_MODE);
}
