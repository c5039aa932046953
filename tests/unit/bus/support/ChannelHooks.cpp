#include "ChannelHooks.h"

#include "platform/neutrino.h"

#include <atomic>
#include <optional>

using channelHooks::Call;

namespace {

std::optional<Call> failing;
int channel = -1;
unsigned int channelFlags = 0;
channelHooks::Attach attach{};
std::atomic<int> priorityOfPulse{-1};

} // namespace

namespace channelHooks {

Failing::Failing(Call call) {
    failing = call;
}
Failing::~Failing() {
    failing.reset();
}

int newestChannel() {
    return channel;
}
unsigned int newestChannelFlags() {
    return channelFlags;
}
Attach newestAttach() {
    return attach;
}
int newestPriority() {
    return priorityOfPulse;
}

} // namespace channelHooks

extern "C" {

int __real_ChannelCreate(unsigned int flags);
int __real_ConnectAttach(std::uint32_t nd, pid_t pid, int chid, unsigned int index, int flags);
int __real_MsgSendPulse(int coid, int priority, int code, std::intptr_t value);
int __real_MsgReceivePulse(int chid, void* pulse, std::size_t size, _msg_info* info);

int __wrap_ChannelCreate(unsigned int flags) {
    channelFlags = flags;
    channel = failing == Call::ChannelCreate ? -1 : __real_ChannelCreate(flags);
    return channel;
}

int __wrap_ConnectAttach(std::uint32_t nd, pid_t pid, int chid, unsigned int index, int flags) {
    attach = {nd, pid, chid, index, flags};
    return failing == Call::ConnectAttach ? -1 : __real_ConnectAttach(nd, pid, chid, index, flags);
}

int __wrap_MsgSendPulse(int coid, int priority, int code, std::intptr_t value) {
    priorityOfPulse = priority;
    return failing == Call::MsgSendPulse ? -1 : __real_MsgSendPulse(coid, priority, code, value);
}

int __wrap_MsgReceivePulse(int chid, void* pulse, std::size_t size, _msg_info* info) {
    return failing == Call::MsgReceivePulse ? -1 : __real_MsgReceivePulse(chid, pulse, size, info);
}
}
