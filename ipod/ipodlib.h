#pragma once

#include <cstdint>

/**
 * The client of the iPod driver: one small function for each message that an iPod's control node
 * takes, and a handle for reading track records.
 *
 * Every function sends one request to the open control node `fd`, waits for the answer, and returns
 * -1 with errno if the exchange failed or the driver refused. What else it returns is one of two:
 *
 * - send's result: what the driver returned for the message, 0 or more;
 * - the word: if the driver returned 0, the first four bytes of its reply as a signed number;
 *   otherwise what the driver returned.
 *
 * Arguments a1 to a10 are the driver's own values, named by their place behind `fd`; where each
 * stands in its message is told in docs/driver-link.md. `size` counts bytes and `count` entries; a
 * negative one is refused with EOVERFLOW. A text is never null unless it says so, and travels with
 * its terminating zero. Buffers belong to the caller and are used during the call only.
 *
 * The functions can be called from any thread, one at a time on a descriptor or a handle.
 */
extern "C" {

/**
 * Opens a control node; close() ends it.
 * @param path the node's own path: the mount point with CONTROLNODE of platform/ControlNode.h
 *             behind it
 * @param flags as for open(); O_RDWR to talk to a driver
 * @return the descriptor, or -1 and errno: EINVAL for a null path, else that of open()
 */
int ipod_open(char const* path, int flags);

/** Asks for the setting `text`; its data go to `buffer`. @return the word */
int ipod_cfg_get(int fd, char const* text, void* buffer, int size);
/** @return send's result */
int ipod_restart(int fd, std::uint32_t a1);
/** Stores 8 bytes. @return send's result */
int ipod_gps_get_ctrl(int fd, std::uint32_t a1, void* eightBytes);
/** Stores 4 bytes. @return send's result */
int ipod_get_software_version(int fd, void* fourBytes);
/** @return send's result */
int ipod_pushui_setvideoauth(int fd, std::uint32_t a1);
/** @return the 4 bytes received; -1 also if the driver returned more than 0 */
int ipod_preference_get(int fd, std::uint32_t a1);
/** a2 and a3 may be the low and the high half of one value. @return send's result */
int ipod_preference_set(int fd, std::uint32_t a1, std::uint32_t a2, std::uint32_t a3);
/** @return send's result */
int ipod_reidentify(int fd);
/** @return send's result */
int ipod_pushui_devvideoscreeninfo(int fd, std::uint32_t a1, std::uint32_t a2, std::uint32_t a3,
                                   std::uint32_t a4, std::uint32_t a5, std::uint32_t a6,
                                   std::uint32_t a7, std::uint32_t a8);
/** Stores 4 bytes. @return send's result */
int ipod_pushui_getversion(int fd, void* fourBytes);
/** @return send's result */
int ipod_smplrmt_rotationinput(int fd, std::uint32_t a1, std::uint32_t a2, std::uint32_t a3,
                               std::uint32_t a4, std::uint32_t a5, std::uint32_t a6,
                               std::uint32_t a7, std::uint32_t a8, std::uint32_t a9,
                               std::uint32_t a10);
/** Stores 1 byte. @return send's result */
int ipod_get_ui_mode(int fd, void* oneByte);
/** @return send's result */
int ipod_set_ui_mode(int fd, std::uint32_t a1);
/** @return send's result */
int ipod_pushui_devstatechange(int fd, std::uint32_t a1);
/** @return send's result */
int ipod_pushui_setopt(int fd, std::uint32_t a1);
/** Stores 4 bytes. @return send's result */
int ipod_pushui_getopt(int fd, std::uint32_t a1, void* fourBytes);
/** @return send's result */
int ipod_smplrmt_pushuibutton(int fd, std::uint32_t a1, std::uint32_t a2, std::uint32_t a3,
                              std::uint32_t a4);
/** a2 and a3 may be the low and the high half of one value. @return send's result */
int ipod_smplrmt_videobutton(int fd, std::uint32_t a1, std::uint32_t a2, std::uint32_t a3);
/** See ipod_smplrmt_videobutton(). */
int ipod_smplrmt_audiobutton(int fd, std::uint32_t a1, std::uint32_t a2, std::uint32_t a3);
/** See ipod_smplrmt_videobutton(). */
int ipod_smplrmt_imagebutton(int fd, std::uint32_t a1, std::uint32_t a2, std::uint32_t a3);
/** See ipod_smplrmt_videobutton(). */
int ipod_smplrmt_button(int fd, std::uint32_t a1, std::uint32_t a2, std::uint32_t a3);
/** Receives 4 bytes and drops them. @return send's result */
int ipod_eaf_session_free(int fd, std::uint32_t a1);
/** @return send's result */
int ipod_eaf_session_accept(int fd, std::uint32_t a1, std::uint32_t a2);
/** Only the low byte of a1 travels. @return the 2 bytes received as an unsigned number */
int ipod_eaf_session_open(int fd, std::uint32_t a1);
/** Takes at most `count` events of 36 bytes. @return the word */
int ipod_get_events(int fd, void* buffer, int count);
/** Stores 4 bytes at `fourBytes` and up to `size` at `buffer`. @return the word */
int ipod_gps_recv(int fd, std::uint32_t a1, std::uint32_t a2, void* buffer, int size,
                  void* fourBytes);
/** @return the word */
int ipod_get_nowplaying_name(int fd, void* buffer, int size);
/** @return the word */
int ipod_get_nowplaying_app(int fd, void* buffer, int size);
/** Stores 4 bytes at `fourBytes` and up to `size` at `buffer`. @return send's result */
int ipod_get_model(int fd, void* fourBytes, void* buffer, int size);
/**
 * Asks what the iPod can do.
 * @param buffer   takes at most `count` 16-bit capability ids, little-endian; may be null
 * @param reserved not read
 * @return the word: how many capabilities there are, which can be more than `count`
 */
int ipod_get_capabilities(int fd, void* buffer, int count, int reserved);
/** @return the word */
int ipod_pushui_get_approval(int fd, std::uint32_t a1, void* buffer, int size);
/** @return the word */
int ipod_cfg_audio_in_get(int fd, std::uint32_t a1, void* buffer, int size);
/** Takes at most `count` events of 16 bytes. @return the word */
int ipod_eaf_getevents(int fd, void* buffer, int count);
/** @return the word */
int ipod_eaf_getprotocol(int fd, std::uint32_t a1, void* buffer, int size);
/** @return the word */
int ipod_eaf_recv(int fd, std::uint32_t a1, void* buffer, int size);
/** @return send's result */
int ipod_gps_send(int fd, std::uint32_t a1, std::uint32_t a2, void const* data, int size);
/** @return send's result */
int ipod_write_feature(int fd, std::uint32_t a1, void const* data, int size);
/** @return send's result */
int ipod_request_app_launch(int fd, char const* text);
/** Sends one text or, unless the second is null, two. @return send's result */
int ipod_cfg_set(int fd, char const* text, char const* second);
/** @return send's result */
int ipod_ctrl_passthru(int fd, std::uint32_t a1, std::uint32_t a2, void const* data, int size);
/** Sends one text or, unless the second is null, two. @return send's result */
int ipod_eaf_cfg_session_set(int fd, std::uint32_t a1, char const* text, char const* second);
/** Sends one text or, unless the second is null, two. @return send's result */
int ipod_eaf_cfg_set(int fd, char const* text, char const* second);
/** @return the word */
int ipod_eaf_addprotocol(int fd, char const* text);
/** @return send's result */
int ipod_eaf_send(int fd, std::uint32_t a1, void const* data, int size);

/** An open iPod and the last track record read from it. */
struct ipod_handle;

/** The track record of a handle and what was asked for in it. */
struct ipod_trkinfo_list;

/**
 * Opens an iPod for reading track records.
 * @param path  its mount point
 * @param flags or-ed with O_RDWR
 * @return the handle, to be given to ipod_disconnect(); null and errno: EINVAL a null path or a
 *         control node that does not open, ENOMEM no room for the handle, or a path longer than
 *         what is left of the stack
 */
struct ipod_handle* ipod_connect(char const* path, int flags);

/** Closes and frees a handle. @return 0 */
int ipod_disconnect(struct ipod_handle* handle);

/**
 * Says what the next records shall hold.
 * @param list 0, the only list there is
 * @param mask bit n asks for track field n
 * @return 0, or -1 and EINVAL for another list
 */
int ipod_trkinfo_set_options(struct ipod_handle* handle, int list, std::uint32_t mask,
                             std::uint32_t options);

/**
 * Reads the record of one track. Texts got from the record before are no longer valid.
 * @param list not read
 * @return 0, or -1 and errno
 */
int ipod_uid_get_trkinfo(struct ipod_handle* handle, int list, std::uint64_t uid);

/**
 * Finds a field in the record that was read last.
 * @param field one bit: 1 << n for track field n
 * @param value takes a pointer into the handle, valid until the next record is read. A driver may
 *              leave out the terminating zero: what follows the value then is the rest of the
 *              record, and a zero stands behind the buffer
 * @return 0; -1 and EINVAL if the field was not asked for or there is no such list; -1 and errno
 *         as it was if the record does not have it or is broken before it
 */
int ipod_trkinfo_get_string(struct ipod_handle* handle, int list, std::uint32_t field,
                            char const** value);

/** Like ipod_trkinfo_get_string(), then the decimal number that the value begins with. */
int ipod_trkinfo_get_number(struct ipod_handle* handle, int list, std::uint32_t field,
                            unsigned long long* value);

/** A list of a handle by its number; null for every number but 0. */
struct ipod_trkinfo_list* trkinfo_get_list_ptr(struct ipod_handle* handle, int list);
}

/** With a2 and a3 as one 64-bit value. */
inline int ipod_preference_set(int fd, std::uint32_t a1, std::uint64_t value) {
    return ipod_preference_set(fd, a1, static_cast<std::uint32_t>(value),
                               static_cast<std::uint32_t>(value >> 32U));
}
/** With a2 and a3 as one 64-bit value. */
inline int ipod_smplrmt_videobutton(int fd, std::uint32_t a1, std::uint64_t value) {
    return ipod_smplrmt_videobutton(fd, a1, static_cast<std::uint32_t>(value),
                                    static_cast<std::uint32_t>(value >> 32U));
}
/** With a2 and a3 as one 64-bit value. */
inline int ipod_smplrmt_audiobutton(int fd, std::uint32_t a1, std::uint64_t value) {
    return ipod_smplrmt_audiobutton(fd, a1, static_cast<std::uint32_t>(value),
                                    static_cast<std::uint32_t>(value >> 32U));
}
/** With a2 and a3 as one 64-bit value. */
inline int ipod_smplrmt_imagebutton(int fd, std::uint32_t a1, std::uint64_t value) {
    return ipod_smplrmt_imagebutton(fd, a1, static_cast<std::uint32_t>(value),
                                    static_cast<std::uint32_t>(value >> 32U));
}
/** With a2 and a3 as one 64-bit value. */
inline int ipod_smplrmt_button(int fd, std::uint32_t a1, std::uint64_t value) {
    return ipod_smplrmt_button(fd, a1, static_cast<std::uint32_t>(value),
                               static_cast<std::uint32_t>(value >> 32U));
}
