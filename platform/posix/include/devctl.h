#pragma once

#include <cstddef>

/** Bits of a device command: the data travel to the device, from it, or both ways. */
constexpr unsigned int _POSIX_DEVDIR_TO = 0x80000000U;
constexpr unsigned int _POSIX_DEVDIR_FROM = 0x40000000U;

extern "C" {

/**
 * Gives a command to the driver behind a control node and waits for its answer.
 *
 * The direction bits of the command say whether the data are sent, received or both; nothing else
 * is read out of it. One exchange at a time on a descriptor: threads that share one must take
 * turns.
 *
 * @param data the caller's buffer of n_bytes bytes
 * @param info takes the driver's reply word whenever an answer came, with success or without; may
 *             be null
 * @return 0 or the driver's errno value; errno itself is not touched on purpose. From this side:
 *         EBADF no descriptor, ENOSYS the node is no socket, EIO the driver is gone or its answer
 *         is broken, EFAULT a null buffer with a length, EOVERFLOW more than INT_MAX bytes
 */
int devctl(int fd, int dcmd, void* data, std::size_t n_bytes, int* info);
}
