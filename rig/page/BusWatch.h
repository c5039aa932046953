#pragma once

#include "rig/page/Board.h"

#include <map>
#include <string>
#include <thread>

struct DBusConnection;
struct DBusMessage;

/**
 * Everything that goes over the bus, onto the board's stream "bus": a "call", its "reply" with the
 * time between the two in milliseconds, and each "signal".
 *
 * It has a connection of its own beside the rig's, which becomes a monitor: a bus lets a monitor
 * send nothing and closes on one that tries, so that libtellbus, whose connections are for calls,
 * has no use for one. On the system bus only root may watch; the value "watching" says why not.
 * A bus that goes away is looked for again.
 */
class BusWatch {
public:
    explicit BusWatch(Board& board);
    ~BusWatch();
    BusWatch(BusWatch const&) = delete;
    BusWatch& operator=(BusWatch const&) = delete;

private:
    struct Call {
        std::int64_t id;
        std::int64_t microseconds;
    };

    void run();
    /** Watches one bus until it goes away. @return whether to go on with another */
    bool watchOnce();
    bool becomeMonitor(DBusConnection* connection);
    void learnNames(DBusConnection* connection);
    bool drain(DBusConnection* connection);
    void take(DBusMessage* message);
    void takeCall(DBusMessage* message, Json::Value entry);
    void takeReply(DBusMessage* message, Json::Value entry);
    void takeSignal(DBusMessage* message, Json::Value entry);
    std::string nameOf(char const* unique) const;
    /** Waits for the descriptor, or for the end. @return false at the end */
    bool wait(int descriptor, int milliseconds) const;

    Board& mBoard;
    int mWake;
    std::int64_t mLastCall = 0;
    std::map<std::pair<std::string, std::uint32_t>, Call> mPending;
    std::map<std::string, std::string> mNames; ///< well-known names by unique ones
    std::thread mThread;
};
