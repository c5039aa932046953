// Loaded before a program's libraries, this stands in for the system calls that touch one folder or
// the control node of an iPod. It counts them, notes them, and lets the test decide what becomes of
// one of them:
//
//   FAULT_FOLDER  the folder; what does not touch it, or a control node, passes by
//   FAULT_NOTES   a file that gets one line for each call: its number, name and path
//   FAULT_AT      the number of the call to which something happens, or "N-" for it and all later
//   FAULT_DO      "before" and "middle": the process is killed; otherwise the errno of the failure;
//                 "short": a write takes one byte
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int MOST_DESCRIPTORS = 1024;

std::atomic<bool> ours[MOST_DESCRIPTORS];

std::string setting(char const* name) {
    char const* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

template <class Function>
Function next(char const* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

bool touches(char const* path) {
    static std::string const folder = setting("FAULT_FOLDER");
    return path != nullptr && !folder.empty()
           && std::strncmp(path, folder.c_str(), folder.size()) == 0;
}

bool touches(int fd) {
    return fd >= 0 && fd < MOST_DESCRIPTORS && ours[fd];
}

void mark(int fd, bool isOurs) {
    if (fd >= 0 && fd < MOST_DESCRIPTORS) {
        ours[fd] = isOurs;
    }
}

void note(int number, char const* call, char const* path) {
    static int const notes =
        static_cast<int>(syscall(SYS_openat, AT_FDCWD, setting("FAULT_NOTES").c_str(),
                                 O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
    std::string const line = std::to_string(number) + " " + call + " " + path + "\n";
    syscall(SYS_write, notes, line.data(), line.size());
}

[[noreturn]] void die() {
    syscall(SYS_kill, getpid(), SIGKILL);
    for (;;) {
        pause();
    }
}

int errorNamed(std::string const& name) {
    struct Named {
        char const* name;
        int error;
    };
    static Named const NAMES[] = {
        {"ENOSPC", ENOSPC}, {"EIO", EIO}, {"EROFS", EROFS}, {"EDQUOT", EDQUOT}, {"EMFILE", EMFILE}};
    for (Named const& named : NAMES) {
        if (name == named.name) {
            return named.error;
        }
    }
    return 0;
}

enum class Fate { Live, Fail, Short, DieAfter };

/** Counts a call that touches the folder. */
Fate fateOf(char const* call, char const* path) {
    static std::atomic<int> count{0};
    static std::string const at = setting("FAULT_AT");
    static std::string const what = setting("FAULT_DO");
    int const number = ++count;
    note(number, call, path);
    int const chosen = std::atoi(at.c_str());
    bool const hit = chosen != 0 && (number == chosen || (at.back() == '-' && number >= chosen));
    if (!hit) {
        return Fate::Live;
    }
    if (what == "before") {
        die();
    }
    if (what == "middle") {
        return Fate::DieAfter;
    }
    if (what == "short") {
        return Fate::Short;
    }
    errno = errorNamed(what);
    return Fate::Fail;
}

/** A call that is done or not done, nothing in between. */
template <class Call>
int whole(char const* name, char const* path, Call call) {
    Fate const fate = fateOf(name, path);
    if (fate == Fate::Fail) {
        return -1;
    }
    int const result = call();
    if (fate == Fate::DieAfter) {
        die();
    }
    return result;
}

} // namespace

extern "C" {

int open(char const* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    mode_t const mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    auto const call = [&] {
        return next<int (*)(char const*, int, ...)>("open")(path, flags, mode);
    };
    if (!touches(path)) {
        return call();
    }
    int const fd = whole("open", path, call);
    mark(fd, true);
    return fd;
}

int open64(char const* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    mode_t const mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return open(path, flags, mode);
}

int close(int fd) {
    mark(fd, false);
    return next<int (*)(int)>("close")(fd);
}

ssize_t write(int fd, void const* bytes, size_t size) {
    auto const call = next<ssize_t (*)(int, void const*, size_t)>("write");
    if (!touches(fd)) {
        return call(fd, bytes, size);
    }
    switch (fateOf("write", "")) {
    case Fate::Fail:
        return -1;
    case Fate::Short:
        return call(fd, bytes, size > 0 ? 1 : 0);
    case Fate::DieAfter:
        call(fd, bytes, size / 2);
        die();
    case Fate::Live:
        break;
    }
    return call(fd, bytes, size);
}

ssize_t read(int fd, void* bytes, size_t size) {
    auto const call = next<ssize_t (*)(int, void*, size_t)>("read");
    if (!touches(fd)) {
        return call(fd, bytes, size);
    }
    Fate const fate = fateOf("read", "");
    if (fate == Fate::Fail) {
        return -1;
    }
    ssize_t const count = call(fd, bytes, size);
    if (fate == Fate::DieAfter) {
        die();
    }
    return count;
}

int fsync(int fd) {
    auto const call = [&] { return next<int (*)(int)>("fsync")(fd); };
    return touches(fd) ? whole("fsync", "", call) : call();
}

int rename(char const* from, char const* to) {
    auto const call = [&] { return next<int (*)(char const*, char const*)>("rename")(from, to); };
    return touches(to) ? whole("rename", to, call) : call();
}

int link(char const* from, char const* to) {
    auto const call = [&] { return next<int (*)(char const*, char const*)>("link")(from, to); };
    return touches(to) ? whole("link", to, call) : call();
}

int unlink(char const* path) {
    auto const call = [&] { return next<int (*)(char const*)>("unlink")(path); };
    return touches(path) ? whole("unlink", path, call) : call();
}

int connect(int fd, sockaddr const* address, socklen_t length) {
    auto const call = [&] {
        return next<int (*)(int, sockaddr const*, socklen_t)>("connect")(fd, address, length);
    };
    auto const* const local = reinterpret_cast<sockaddr_un const*>(address);
    bool const isNode = address->sa_family == AF_UNIX && length > sizeof(sa_family_t)
                        && std::strstr(local->sun_path, "control") != nullptr;
    if (!isNode) {
        return call();
    }
    mark(fd, true);
    return whole("connect", local->sun_path, call);
}

ssize_t sendmsg(int fd, msghdr const* message, int flags) {
    auto const call = [&] {
        return static_cast<int>(
            next<ssize_t (*)(int, msghdr const*, int)>("sendmsg")(fd, message, flags));
    };
    return touches(fd) ? whole("sendmsg", "", call) : call();
}

ssize_t recvmsg(int fd, msghdr* message, int flags) {
    auto const call = [&] {
        return static_cast<int>(
            next<ssize_t (*)(int, msghdr*, int)>("recvmsg")(fd, message, flags));
    };
    return touches(fd) ? whole("recvmsg", "", call) : call();
}

} // extern "C"
