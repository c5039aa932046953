#pragma once

#include <cstdint>

// Looks into the calls of the platform layer and can make them fail; everything else about them is
// the real thing (the linker wraps them, see CMakeLists.txt).
namespace channelHooks {

enum class Call { ChannelCreate, ConnectAttach, MsgSendPulse, MsgReceivePulse };

/** While it lives, the call fails. */
class Failing {
public:
    explicit Failing(Call call);
    ~Failing();
    Failing(Failing const&) = delete;
    Failing& operator=(Failing const&) = delete;
};

/** Of the channel that was created last. */
int newestChannel();
unsigned int newestChannelFlags();

struct Attach {
    std::uint32_t nd;
    int pid;
    int chid;
    unsigned int index;
    int flags;
};
Attach newestAttach();

/** The priority of the pulse that was sent last. */
int newestPriority();

} // namespace channelHooks
