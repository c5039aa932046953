#pragma once

#include "platform/ControlNodeServer.h"

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <poll.h>
#include <string>
#include <thread>
#include <vector>

/**
 * Serves one control node on a thread of its own: takes one request after the other from all who
 * have opened it, and hands each to the driver.
 *
 * The thread never waits for a client: what a client does not read is kept for it, and keeps nobody
 * from an answer. All operations are the owner's, on one thread, except waitAWhile(). Between
 * stop() and start() nothing runs, clients stay connected and no request is lost: that is when the
 * owner may change what the driver looks at.
 */
class DriverLoop {
public:
    /**
     * Answers one request that has arrived, by startReply() or startSend(), on the loop's thread.
     * False closes on the client.
     */
    using Driver = std::function<bool(ControlNodePeer&)>;

    /** @throws std::runtime_error if the system has no room for it */
    explicit DriverLoop(Driver driver);

    /** Stops, takes the node away and closes on all who have it open. */
    ~DriverLoop();
    DriverLoop(DriverLoop const&) = delete;
    DriverLoop& operator=(DriverLoop const&) = delete;

    /**
     * Offers the node, unless it is offered already. Only while stopped.
     * @throws std::runtime_error naming the path and the reason
     */
    void offer(std::string const& path);

    /** Takes the node away from its path; who has it open keeps it. Only while stopped. */
    void withdraw();

    void start();

    /** Returns when the thread has ended, after the request that it works on. */
    void stop();

    /** For the driver, in the middle of a request: lets time pass, but no more once stop() is
     * called. */
    void waitAWhile(std::chrono::milliseconds time) const;

private:
    void run();
    std::vector<pollfd> watched() const;
    void serveReady(std::vector<pollfd> const& watched);
    bool progress(ControlNodePeer& peer);
    bool read(ControlNodePeer& peer);

    Driver mDriver;
    int mWake;
    std::unique_ptr<ControlNodeServer> mServer;
    std::list<std::unique_ptr<ControlNodePeer>> mPeers;
    std::thread mThread;
};
