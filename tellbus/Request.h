#pragma once

#include "tellbus/Message.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace tellbus {

class Connection;

/** One incoming call, from its delivery to the freeing of its context. */
struct Request {
    std::weak_ptr<Connection> connection;
    std::uint64_t generation = 0; ///< the link it came through
    ReturnAddress caller;
    bool noReply = false;
    std::atomic<bool> replied{false};
};

} // namespace tellbus
