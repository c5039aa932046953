#pragma once

/**
 * The control node of an iPod, behind its mount point. It is appended to the mount point as that
 * is, and the whole is the path to open.
 */
constexpr char CONTROLNODE[] = "/.FS_info./control";

/**
 * Opens a control node for devctl() and the MsgSend() family; close() ends it.
 *
 * A node that is a socket is connected to, which waits until its driver has room for one more;
 * flags then mean nothing. Anything else is opened as a file, and on it every send fails with
 * ENOSYS. Either way the descriptor does not pass to programs that this one starts. A path may be
 * as long as the system takes for a file.
 *
 * @param path  the full path of the node
 * @param flags as for open()
 * @return the descriptor, or -1 and errno: that of open(), or ECONNREFUSED if nobody serves the
 * node
 */
int openControlNode(char const* path, int flags);
