#pragma once

#include "tellbus/Message.h"
#include "tellbus/tellbus.h"

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
    /** Why the last text could not be sent; the caller is told if no other follows. */
    std::atomic<TELLBUS_tStatus> refused{TELLBUS_OK};
};

} // namespace tellbus
