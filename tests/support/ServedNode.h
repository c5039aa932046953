#pragma once

#include "platform/ControlNodeServer.h"

#include <functional>
#include <memory>
#include <mutex>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

/** A control node served on a thread of the test's own, for any number of clients. */
class ServedNode {
public:
    /** Answers one request; false hangs up on the client. */
    using Driver = std::function<bool(ControlNodePeer&)>;

    /** Answers every request in the same way. */
    explicit ServedNode(std::string const& path, ControlNodeReply const& reply = {})
        : ServedNode(path, [reply](ControlNodePeer& peer) { return peer.reply(reply); }) {}

    ServedNode(std::string const& path, Driver driver)
        : mServer(ControlNodeServer::listen(path)), mDriver(std::move(driver)) {
        if (mServer == nullptr) {
            throw std::runtime_error("cannot serve " + path);
        }
        mThread = std::thread([this] { run(); });
    }
    ~ServedNode() {
        mServer->hangUp();
        mThread.join();
    }
    ServedNode(ServedNode const&) = delete;
    ServedNode& operator=(ServedNode const&) = delete;

    /** The requests so far; one that has been answered is among them. */
    std::vector<ControlNodeRequest> requests() const {
        std::lock_guard<std::mutex> const lock(mMutex);
        return mRequests;
    }

private:
    using Peers = std::vector<std::unique_ptr<ControlNodePeer>>;

    void run() {
        Peers peers;
        for (;;) {
            std::vector<pollfd> entries{{mServer->fd(), POLLIN, 0}};
            for (auto const& peer : peers) {
                entries.push_back({peer->fd(), POLLIN, 0});
            }
            poll(entries.data(), entries.size(), -1);
            for (std::size_t i = peers.size(); i > 0; --i) {
                if (entries[i].revents != 0 && !serve(*peers[i - 1])) {
                    peers.erase(peers.begin() + static_cast<Peers::difference_type>(i - 1));
                }
            }
            if (entries[0].revents != 0) {
                peers.push_back(mServer->accept());
                if (peers.back() == nullptr) {
                    return;
                }
            }
        }
    }

    bool serve(ControlNodePeer& peer) {
        switch (peer.read()) {
        case ControlNodePeer::Progress::Waiting:
            return true;
        case ControlNodePeer::Progress::Arrived: {
            std::lock_guard<std::mutex> const lock(mMutex);
            mRequests.push_back(peer.request());
            break;
        }
        case ControlNodePeer::Progress::Gone:
            return false;
        }
        return mDriver(peer);
    }

    std::unique_ptr<ControlNodeServer> mServer;
    Driver mDriver;
    mutable std::mutex mMutex;
    std::vector<ControlNodeRequest> mRequests;
    std::thread mThread;
};
