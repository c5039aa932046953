#pragma once

#include <cstddef>

/** Channels that one process can have; ChannelCreate() then fails with EAGAIN. */
constexpr std::size_t MAX_CHANNELS = 4096;

/** Connections that one process can have; ConnectAttach() then fails with EAGAIN. */
constexpr std::size_t MAX_CONNECTIONS = 4096;

/**
 * Pulses that wait in one channel; MsgSendPulse() then fails with EAGAIN. At 40 bytes each a
 * channel never takes more than about 10 MB.
 */
constexpr std::size_t MAX_QUEUED_PULSES = 262144;
