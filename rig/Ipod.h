#pragma once

#include "platform/ControlNodeServer.h"
#include "rig/Device.h"
#include "rig/Faults.h"
#include "rig/Landing.h"
#include "rig/Report.h"

#include <cstdint>
#include <list>
#include <memory>
#include <poll.h>
#include <thread>
#include <vector>

/** The capability ids of a driver, in its order. */
using Capabilities = std::vector<std::uint16_t>;

/** Reads "8,3", or "none". @throws std::invalid_argument for anything else */
Capabilities toCapabilities(std::string const& text);

/**
 * A device and, if it is an iPod, the driver behind its control node.
 *
 * The driver has a thread of its own, which takes one request after the other from all who have
 * opened the node. A change stops that thread, changes, and starts it again, so that nothing is
 * shared while it runs and no request is lost. The thread never waits for a client: whoever does
 * not read its answer keeps nobody from a change, nor from an answer.
 */
class Ipod {
public:
    Ipod(Device device, Capabilities capabilities, Report& report);

    /** Takes the node away and closes on all who have it open. */
    ~Ipod();
    Ipod(Ipod const&) = delete;
    Ipod& operator=(Ipod const&) = delete;

    /** Offers the node; does nothing for what is no iPod. @throws std::runtime_error if it fails */
    void serve();

    /** Takes the node away from its place for another device; who has it open keeps it. */
    void withdraw();

    /** Offers it there again. @throws std::runtime_error if it fails */
    void restore();

    void setCapabilities(Capabilities capabilities);

    /** @throws std::runtime_error if the node cannot be offered; nothing has changed then */
    void setFaults(Faults const& faults);

    Device const& device() const { return mDevice; }

    /** Everything about it, for a report. */
    Json::Value describe() const;

private:
    using Peers = std::list<std::unique_ptr<ControlNodePeer>>;
    class Pause;

    void showNode(bool shown);
    void start();
    void stop();
    void run();
    void serveReady(std::vector<pollfd> const& waited);
    bool progress(ControlNodePeer& peer);
    bool read(ControlNodePeer& peer);

    bool answer(ControlNodePeer& peer);
    ControlNodeReply answerCapabilities(ControlNodeRequest const& request,
                                        Json::Value& fields) const;
    ControlNodeReply answerTags(ControlNodeRequest const& request, Json::Value& fields);
    static bool vanish(ControlNodePeer& peer, ControlNodeReply const& reply);
    /** Waits as ordered; a change or the end of the device cuts it short. */
    void delay(char const* event);

    Device mDevice;
    Capabilities mCapabilities;
    Report& mReport;
    Landing mLanding;
    Faults mFaults;
    int mWake;
    std::unique_ptr<ControlNodeServer> mServer;
    Peers mPeers;
    std::thread mThread;
};
