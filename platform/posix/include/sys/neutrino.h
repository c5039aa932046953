#pragma once

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <sys/types.h>
#include <sys/uio.h>

/** Channel flag: the receiver keeps its own priority. The one flag that is known here. */
constexpr unsigned int _NTO_CHF_FIXED_PRIORITY = 0x0001U;

/** The range of connection ids that never meets file descriptors. */
constexpr unsigned int _NTO_SIDE_CHANNEL = 0x40000000U;

constexpr std::uint16_t _PULSE_TYPE = 0;
constexpr std::uint16_t _PULSE_SUBTYPE = 0;

/** What MsgReceivePulse() stores: 16 bytes on a 32-bit machine, 24 on a 64-bit one. */
struct _pulse {
    std::uint16_t type;
    std::uint16_t subtype;
    std::int8_t code;
    std::uint8_t zero[3];
    union sigval value;
    std::int32_t scoid; ///< the connection that the pulse came through
};

struct _msg_info;

/** One part of a message that is sent or received in several. */
using iov_t = struct iovec;

/** Makes a part of `length` bytes at `address`. */
inline void SETIOV(iov_t* part, void const* address, std::size_t length) {
    part->iov_base = const_cast<void*>(address);
    part->iov_len = length;
}

extern "C" {

/**
 * Makes a channel, a queue of pulses. It lives as long as the process.
 * @return its id, or -1: EINVAL for a flag that has no meaning here, EAGAIN at the limit of
 *         platform/posix/ChannelLimits.h
 */
int ChannelCreate(unsigned int flags);

/**
 * Makes a connection to a channel of this process.
 * @param nd    0, this machine
 * @param pid   0 or the own process id
 * @param index lowest id wanted; ids are always in the range of _NTO_SIDE_CHANNEL
 * @param flags not read
 * @return the connection id, or -1: ESRCH no such node, process or channel, EINVAL an index out of
 *         range, EAGAIN at the limit
 */
int ConnectAttach(std::uint32_t nd, pid_t pid, int chid, unsigned int index, int flags);

/**
 * Queues a pulse and returns at once. Any thread.
 * @param priority of SCHED_RR, -1 for its lowest; the channel hands out higher ones first
 * @param code     fits 8 signed bits
 * @param value    a number or a pointer
 * @return 0, or -1: EBADF no such connection, EINVAL priority or code out of range, EAGAIN the
 *         channel holds as many pulses as it may; then nothing was queued
 */
int MsgSendPulse(int coid, int priority, int code, std::intptr_t value);

/**
 * Takes the next pulse off a channel and waits for one if there is none: by priority, and in the
 * order of arrival within a priority. Any thread; each pulse goes to one receiver.
 * @param pulse takes a struct _pulse
 * @param size  of that buffer
 * @param info  not touched, as for every pulse; may be null
 * @return 0, or -1: ESRCH no such channel, EFAULT a null buffer, EINVAL one too small for a pulse;
 *         then no pulse was taken
 */
int MsgReceivePulse(int chid, void* pulse, std::size_t size, struct _msg_info* info);

/**
 * Sends a message to the driver behind a control node (see platform/ControlNode.h; a descriptor is
 * a connection id) and waits for its reply, which is scattered over the receive parts in order.
 * One exchange at a time on a descriptor: threads that share one must take turns.
 *
 * The letters name the forms: the first for what is sent, the second for what is received, v for
 * parts and s for one buffer.
 *
 * @return what the driver returned, or -1 with the driver's errno. From this side: EBADF no
 *         descriptor, ENOSYS the node is no socket, EIO the driver is gone or its answer is broken
 *         (the connection is then closed for good), EINVAL a negative number of parts, EFAULT a
 *         null part with a length, EOVERFLOW more than INT_MAX bytes one way
 */
int MsgSend(int coid, void const* message, std::size_t size, void* reply, std::size_t room);
/** Parts both ways, see MsgSend(). */
int MsgSendv(int coid, iov_t const* parts, int count, iov_t const* replyParts, int replyCount);
/** One buffer out, parts in, see MsgSend(). */
int MsgSendsv(int coid, void const* message, std::size_t size, iov_t const* replyParts,
              int replyCount);
/** Parts out, one buffer in, see MsgSend(). */
int MsgSendvs(int coid, iov_t const* parts, int count, void* reply, std::size_t room);
}
