#include "platform/ControlNodeServer.h"

#include "platform/posix/SocketAddress.h"
#include "platform/posix/SystemCall.h"

#include <filesystem>
#include <sys/stat.h>
#include <utility>

namespace {

/** A socket file whose server has died refuses every connection. */
bool isAbandoned(SocketAddress const& address) {
    Descriptor const probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    return address.connect(probe.get()) == -1 && errno == ECONNREFUSED;
}

bool isSocket(std::string const& path) {
    std::error_code ignored;
    return std::filesystem::is_socket(path, ignored);
}

constexpr mode_t EVERYBODY = 0666;

int bindTo(std::string const& path, SocketAddress const& address, int fd) {
    if (isSocket(path) && isAbandoned(address)) {
        unlink(path.c_str());
    }
    if (address.bind(fd) == -1) {
        return -1;
    }
    // Whoever serves a node may be another user than the one who connects.
    return chmod(path.c_str(), EVERYBODY);
}

} // namespace

std::unique_ptr<ControlNodeServer> ControlNodeServer::listen(std::string const& path) {
    std::error_code failure;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), failure);
    SocketAddress address;
    int const error = failure ? failure.value() : address.prepare(path.c_str());
    if (error != 0) {
        failWith(error);
        return nullptr;
    }
    Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (fd.get() == -1 || bindTo(path, address, fd.get()) == -1
        || ::listen(fd.get(), SOMAXCONN) == -1) {
        return nullptr;
    }
    return std::unique_ptr<ControlNodeServer>(new ControlNodeServer(fd.release(), path));
}

ControlNodeServer::ControlNodeServer(int fd, std::string path) : mFd(fd), mPath(std::move(path)) {}

ControlNodeServer::~ControlNodeServer() {
    unlink(mPath.c_str());
    close(mFd);
}

int ControlNodeServer::fd() const {
    return mFd;
}

std::unique_ptr<ControlNodePeer> ControlNodeServer::accept() {
    int const fd = uninterrupted([this] { return ::accept4(mFd, nullptr, nullptr, SOCK_CLOEXEC); });
    return fd == -1 ? nullptr : std::make_unique<ControlNodePeer>(fd);
}

void ControlNodeServer::hangUp() {
    shutdown(mFd, SHUT_RDWR);
}
