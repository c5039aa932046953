#pragma once

#include "platform/ControlNodePeer.h"

#include <memory>
#include <string>

/**
 * A control node that this program serves: the driver's side of openControlNode().
 *
 * In a poll loop: when fd() is readable, accept() does not wait. In a thread: accept() waits, and
 * hangUp() from another thread ends the wait.
 */
class ControlNodeServer {
public:
    /**
     * Makes the node and listens. Folders on the way that are missing are made; a socket that
     * nobody serves any more is replaced.
     * @param path the full path of the node, of any length
     * @return null and errno on failure: EADDRINUSE if something else stands at the path
     */
    static std::unique_ptr<ControlNodeServer> listen(std::string const& path);

    /** Stops listening and takes the node away. Peers that were accepted live on. */
    ~ControlNodeServer();
    ControlNodeServer(ControlNodeServer const&) = delete;
    ControlNodeServer& operator=(ControlNodeServer const&) = delete;

    /** The listening socket, for poll(); stays this object's. */
    int fd() const;

    /** Waits for the next client. Null after hangUp(), or with errno if the system has no room. */
    std::unique_ptr<ControlNodePeer> accept();

    /** Takes no further clients; clients in the queue are refused. Any thread. */
    void hangUp();

private:
    ControlNodeServer(int fd, std::string path);

    int mFd;
    std::string mPath;
};
