#pragma once

#include "platform/ControlNodePeer.h"

#include <poll.h>
#include <utility>

/** The driver's side of a node for a thread that has nothing else to do: these wait. */

/** Waits for a whole request. False once the client is gone. */
inline bool receiveFrom(ControlNodePeer& peer) {
    for (;;) {
        auto const progress = peer.read();
        if (progress != ControlNodePeer::Progress::Waiting) {
            return progress == ControlNodePeer::Progress::Arrived;
        }
        pollfd entry{peer.fd(), POLLIN, 0};
        poll(&entry, 1, -1);
    }
}

/** Answers the request, and waits while the client does not take it. False if it is gone. */
inline bool replyTo(ControlNodePeer& peer, ControlNodeReply reply) {
    bool alive = peer.startReply(std::move(reply));
    while (alive && peer.hasUnsent()) {
        pollfd entry{peer.fd(), POLLOUT, 0};
        poll(&entry, 1, -1);
        alive = peer.flush();
    }
    return alive;
}
