#pragma once

#include "rig/page/Board.h"

#include <string>

/**
 * The page's own calls on the service and on the radio, and what both tell: the board's values
 * "localStatus", "connectionStatus", "transferStatus" and "nowPlaying", and "present", which says
 * of each program whether it is on the bus.
 *
 * Signals arrive on the bus library's thread; call() is for other threads.
 */
class UnitClient {
public:
    /** @throws std::runtime_error if there is no bus */
    explicit UnitClient(Board& board);
    ~UnitClient();
    UnitClient(UnitClient const&) = delete;
    UnitClient& operator=(UnitClient const&) = delete;

    /**
     * A call on the radio without parameters; waits for its end.
     * @return the reply, parsed; a text where it is no JSON
     * @throws std::runtime_error saying why there is none
     */
    Json::Value callRadio(std::string const& method);

    /** The same on the service. */
    Json::Value callService(std::string const& method);

private:
    Json::Value call(char const* name, char const* path, std::string const& method);
    void watch(char const* path, char const* signal);
    void askForAll(std::string const& name);
    static void onSignal(char const* name, char const* data, void* cookie);
    static void onOwner(char const* name, char const* before, char const* after, void* cookie);

    Board& mBoard;
    void* mConnection = nullptr;
};
