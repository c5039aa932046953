#pragma once

#include "rig/page/Access.h"
#include "rig/page/Actions.h"
#include "rig/page/Board.h"
#include "rig/page/FileWatch.h"

#include <memory>

namespace Poco::Net {
class HTTPServer;
}

/**
 * Serves the page over HTTP, and what is on the board over a WebSocket to each client.
 *
 * GET only reads; what changes something is a POST with a JSON body to /do. A request that names a
 * foreign host or comes from a foreign page is refused. Each client has a thread of its own that
 * gives up on one that does not read, so that nobody waits for anybody.
 */
class PageServer {
public:
    /** At most so many clients are kept up to date; another is refused until one leaves. */
    static constexpr int MOST_CLIENTS = 16;

    /** @throws std::runtime_error if the address cannot be listened on */
    PageServer(PageAddress address, Board& board, Actions& actions, FileWatch const& files);

    /** Closes the board and leaves all clients. */
    ~PageServer();
    PageServer(PageServer const&) = delete;
    PageServer& operator=(PageServer const&) = delete;

    /** Where it listens, the port that was found if 0 was asked for included. */
    PageAddress const& address() const { return mAddress; }

private:
    PageAddress mAddress;
    Board& mBoard;
    std::unique_ptr<Poco::Net::HTTPServer> mServer;
};
