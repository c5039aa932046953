#pragma once

#include "rig/DriverLoop.h"

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

/** A control node served by the workbench's own loop, for any number of clients. */
class ServedNode {
public:
    /** Answers every request in the same way. */
    explicit ServedNode(std::string const& path, ControlNodeReply const& reply = {})
        : ServedNode(path, [reply](ControlNodePeer& peer) { return peer.startReply(reply); }) {}

    ServedNode(std::string const& path, DriverLoop::Driver driver)
        : mDriver(std::move(driver)), mLoop([this](ControlNodePeer& peer) { return serve(peer); }) {
        mLoop.offer(path);
        mLoop.start();
    }
    ServedNode(ServedNode const&) = delete;
    ServedNode& operator=(ServedNode const&) = delete;

    /** The requests so far; one that has been answered is among them. */
    std::vector<ControlNodeRequest> requests() const {
        std::lock_guard<std::mutex> const lock(mMutex);
        return mRequests;
    }

private:
    bool serve(ControlNodePeer& peer) {
        {
            std::lock_guard<std::mutex> const lock(mMutex);
            mRequests.push_back(peer.request());
        }
        return mDriver(peer);
    }

    DriverLoop::Driver mDriver;
    mutable std::mutex mMutex;
    std::vector<ControlNodeRequest> mRequests;
    DriverLoop mLoop; // last, so that it ends before what it looks at
};
