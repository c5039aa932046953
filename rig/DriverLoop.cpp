#include "rig/DriverLoop.h"

#include <cerrno>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace {

/** The descriptors of watched(): these, and behind them those of the clients in their order. */
constexpr std::size_t WAKE = 0;
constexpr std::size_t SERVER = 1;
constexpr std::ptrdiff_t CLIENTS = 2;

} // namespace

DriverLoop::DriverLoop(Driver driver) : mDriver(std::move(driver)), mWake(eventfd(0, EFD_CLOEXEC)) {
    if (mWake == -1) {
        throw std::runtime_error(std::string("no eventfd: ") + std::strerror(errno));
    }
}

DriverLoop::~DriverLoop() {
    stop();
    close(mWake);
}

void DriverLoop::offer(std::string const& path) {
    if (mServer) {
        return;
    }
    mServer = ControlNodeServer::listen(path);
    if (!mServer) {
        throw std::runtime_error("no node at " + path + ": " + std::strerror(errno));
    }
}

void DriverLoop::withdraw() {
    mServer.reset();
}

void DriverLoop::start() {
    mThread = std::thread(&DriverLoop::run, this);
}

void DriverLoop::stop() {
    if (!mThread.joinable()) {
        return;
    }
    eventfd_write(mWake, 1);
    mThread.join();
    eventfd_t ignored = 0;
    eventfd_read(mWake, &ignored);
}

void DriverLoop::waitAWhile(std::chrono::milliseconds time) const {
    pollfd waited{mWake, POLLIN, 0};
    poll(&waited, 1, static_cast<int>(time.count()));
}

void DriverLoop::run() {
    for (;;) {
        auto waited = watched();
        if (poll(waited.data(), waited.size(), -1) == -1) {
            continue;
        }
        if (waited[WAKE].revents != 0) {
            return;
        }
        serveReady(waited);
    }
}

std::vector<pollfd> DriverLoop::watched() const {
    std::vector<pollfd> watched{{mWake, POLLIN, 0}};
    watched.push_back({mServer ? mServer->fd() : -1, POLLIN, 0});
    for (auto const& peer : mPeers) {
        short const event = peer->hasUnsent() ? POLLOUT : POLLIN;
        watched.push_back({peer->fd(), event, 0});
    }
    return watched;
}

void DriverLoop::serveReady(std::vector<pollfd> const& watched) {
    auto ready = watched.begin() + CLIENTS;
    for (auto peer = mPeers.begin(); ready != watched.end(); ++ready) {
        bool const stays = ready->revents == 0 || progress(**peer);
        peer = stays ? std::next(peer) : mPeers.erase(peer);
    }
    if (watched[SERVER].revents == 0) {
        return;
    }
    if (auto peer = mServer->accept()) {
        mPeers.push_back(std::move(peer));
    }
}

bool DriverLoop::progress(ControlNodePeer& peer) {
    return peer.hasUnsent() ? peer.flush() : read(peer);
}

bool DriverLoop::read(ControlNodePeer& peer) {
    switch (peer.read()) {
    case ControlNodePeer::Progress::Waiting:
        return true;
    case ControlNodePeer::Progress::Arrived:
        return mDriver(peer);
    case ControlNodePeer::Progress::Gone:
        return false;
    }
    return false;
}
