// The message family. What the functions differ in is their code, where their arguments stand in
// the body, and what is sent behind it or received; the few forms of a send are made once, above
// them.
#include "ipod/ipodlib.h"

#include "ipod/IpodRequest.h"
#include "platform/ByteOrder.h"
#include "platform/ControlNode.h"
#include "platform/neutrino.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstring>
#include <string>

namespace {

constexpr std::size_t CAPABILITY_SIZE = 2;
constexpr std::size_t EVENT_SIZE = 36;
constexpr std::size_t EAF_EVENT_SIZE = 16;

constexpr std::size_t GPS_REQUEST_SIZE = 40;
constexpr std::size_t SCREEN_REQUEST_SIZE = 48;
constexpr std::size_t ROTATION_REQUEST_SIZE = 48;
constexpr std::size_t SESSION_OPEN_REQUEST_SIZE = 10;

/** What no message can carry, so that the send refuses it. */
constexpr std::size_t TOO_MANY_BYTES = SIZE_MAX;

/** A negative count is too large as well. */
std::size_t bytesOf(int count, std::size_t each = 1) {
    auto const entries = static_cast<std::size_t>(count);
    return entries <= INT_MAX / each ? entries * each : TOO_MANY_BYTES;
}

std::uint32_t asWord(int value) {
    return static_cast<std::uint32_t>(value);
}

int sendOnly(int fd, IpodRequest const& request) {
    return static_cast<int>(MsgSend(fd, request.data(), request.size(), nullptr, 0));
}

int sendFor(int fd, IpodRequest const& request, void* reply, std::size_t room) {
    return static_cast<int>(MsgSend(fd, request.data(), request.size(), reply, room));
}

int sendFor(int fd, IpodRequest const& request, IpodParts const& reply) {
    return static_cast<int>(
        MsgSendsv(fd, request.data(), request.size(), reply.data(), reply.count()));
}

/** Receives the word, then what follows. */
int sendForWord(int fd, IpodRequest const& request, void* first, std::size_t firstRoom,
                void* second = nullptr, std::size_t secondRoom = 0) {
    IpodReplyWord word;
    IpodParts reply;
    reply.add(word.data(), word.size()).add(first, firstRoom).add(second, secondRoom);
    int const result = sendFor(fd, request, reply);
    return result == 0 ? word.value() : result;
}

/** Sends data behind the request. */
int sendWith(int fd, IpodRequest const& request, void const* data, std::size_t size) {
    IpodParts parts;
    parts.add(request.data(), request.size()).add(data, size);
    return static_cast<int>(MsgSendvs(fd, parts.data(), parts.count(), nullptr, 0));
}

std::size_t textSize(char const* text) {
    return text == nullptr ? 0 : std::strlen(text) + 1;
}

/** Sends one text or two behind the request, whose word at 12 tells how many. */
int sendTexts(int fd, IpodRequest request, char const* text, char const* second) {
    request.word(12, second == nullptr ? 1 : 2);
    IpodParts parts;
    parts.add(request.data(), request.size())
        .add(text, textSize(text))
        .add(second, textSize(second));
    return static_cast<int>(MsgSendvs(fd, parts.data(), parts.count(), nullptr, 0));
}

IpodRequest buttonRequest(std::uint16_t code, std::uint32_t a1, std::uint32_t a2,
                          std::uint32_t a3) {
    return IpodRequest(code).word(8, a1).word(16, a2).word(20, a3);
}

} // namespace

int ipod_open(char const* path, int flags) {
    if (path == nullptr) {
        errno = EINVAL;
        return -1;
    }
    return openControlNode(path, flags);
}

int ipod_cfg_get(int fd, char const* text, void* buffer, int size) {
    IpodRequest const request(0x0C);
    IpodReplyWord word;
    IpodParts parts;
    IpodParts reply;
    parts.add(request.data(), request.size()).add(text, textSize(text));
    reply.add(word.data(), word.size()).add(buffer, bytesOf(size));
    int const result =
        static_cast<int>(MsgSendv(fd, parts.data(), parts.count(), reply.data(), reply.count()));
    return result == 0 ? word.value() : result;
}

int ipod_restart(int fd, std::uint32_t a1) {
    return sendOnly(fd, IpodRequest(0x80).word(16, a1));
}

int ipod_gps_get_ctrl(int fd, std::uint32_t a1, void* eightBytes) {
    return sendFor(fd, IpodRequest(0x60, GPS_REQUEST_SIZE).word(16, a1), eightBytes, 8);
}

int ipod_get_software_version(int fd, void* fourBytes) {
    return sendFor(fd, IpodRequest(0x35), fourBytes, 4);
}

int ipod_pushui_setvideoauth(int fd, std::uint32_t a1) {
    return sendOnly(fd, IpodRequest(0x26).word(16, a1));
}

int ipod_preference_get(int fd, std::uint32_t a1) {
    IpodReplyWord word;
    int const result = sendFor(fd, IpodRequest(0x42).word(8, a1), word.data(), word.size());
    return result == 0 ? word.value() : -1;
}

int ipod_preference_set(int fd, std::uint32_t a1, std::uint32_t a2, std::uint32_t a3) {
    return sendOnly(fd, IpodRequest(0x41).word(8, a1).word(16, a2).word(20, a3));
}

int ipod_reidentify(int fd) {
    return sendOnly(fd, IpodRequest(0x33));
}

int ipod_pushui_devvideoscreeninfo(int fd, std::uint32_t a1, std::uint32_t a2, std::uint32_t a3,
                                   std::uint32_t a4, std::uint32_t a5, std::uint32_t a6,
                                   std::uint32_t a7, std::uint32_t a8) {
    IpodRequest request(0x25, SCREEN_REQUEST_SIZE);
    request.word(8, a1).word(12, a2).word(16, a3).word(20, a4);
    request.word(24, a5).word(28, a6).word(32, a7).word(36, a8);
    return sendOnly(fd, request);
}

int ipod_pushui_getversion(int fd, void* fourBytes) {
    return sendFor(fd, IpodRequest(0x23), fourBytes, 4);
}

int ipod_smplrmt_rotationinput(int fd, std::uint32_t a1, std::uint32_t a2, std::uint32_t a3,
                               std::uint32_t a4, std::uint32_t a5, std::uint32_t a6,
                               std::uint32_t a7, std::uint32_t a8, std::uint32_t a9,
                               std::uint32_t a10) {
    IpodRequest request(0x16, ROTATION_REQUEST_SIZE);
    request.word(8, a2).word(12, a3).word(16, a4).word(20, a5).word(24, a6);
    request.word(28, a7).word(32, a8).word(36, a1).word(40, a9).word(44, a10);
    return sendOnly(fd, request);
}

int ipod_get_ui_mode(int fd, void* oneByte) {
    return sendFor(fd, IpodRequest(0x31), oneByte, 1);
}

int ipod_set_ui_mode(int fd, std::uint32_t a1) {
    return sendOnly(fd, IpodRequest(0x30).word(16, a1));
}

int ipod_pushui_devstatechange(int fd, std::uint32_t a1) {
    return sendOnly(fd, IpodRequest(0x22).word(16, a1));
}

int ipod_pushui_setopt(int fd, std::uint32_t a1) {
    return sendOnly(fd, IpodRequest(0x21).word(16, a1));
}

int ipod_pushui_getopt(int fd, std::uint32_t a1, void* fourBytes) {
    return sendFor(fd, IpodRequest(0x20).word(16, a1), fourBytes, 4);
}

int ipod_smplrmt_pushuibutton(int fd, std::uint32_t a1, std::uint32_t a2, std::uint32_t a3,
                              std::uint32_t a4) {
    return sendOnly(fd, IpodRequest(0x12).word(8, a2).word(12, a1).word(16, a3).word(20, a4));
}

int ipod_smplrmt_videobutton(int fd, std::uint32_t a1, std::uint32_t a2, std::uint32_t a3) {
    return sendOnly(fd, buttonRequest(0x15, a1, a2, a3));
}

int ipod_smplrmt_audiobutton(int fd, std::uint32_t a1, std::uint32_t a2, std::uint32_t a3) {
    return sendOnly(fd, buttonRequest(0x14, a1, a2, a3));
}

int ipod_smplrmt_imagebutton(int fd, std::uint32_t a1, std::uint32_t a2, std::uint32_t a3) {
    return sendOnly(fd, buttonRequest(0x13, a1, a2, a3));
}

int ipod_smplrmt_button(int fd, std::uint32_t a1, std::uint32_t a2, std::uint32_t a3) {
    return sendOnly(fd, buttonRequest(0x11, a1, a2, a3));
}

int ipod_eaf_session_free(int fd, std::uint32_t a1) {
    IpodReplyWord dropped;
    return sendFor(fd, IpodRequest(0x06).word(8, a1), dropped.data(), dropped.size());
}

int ipod_eaf_session_accept(int fd, std::uint32_t a1, std::uint32_t a2) {
    return sendOnly(fd, IpodRequest(0x07).word(8, a1).word(12, a2));
}

int ipod_eaf_session_open(int fd, std::uint32_t a1) {
    std::array<std::uint8_t, 2> id{};
    int const result =
        sendFor(fd, IpodRequest(0x04, SESSION_OPEN_REQUEST_SIZE).byte(8, a1), id.data(), id.size());
    return result == 0 ? static_cast<int>(getLE16(id.data())) : result;
}

int ipod_get_events(int fd, void* buffer, int count) {
    return sendForWord(fd, IpodRequest(0x70).word(16, asWord(count)), buffer,
                       bytesOf(count, EVENT_SIZE));
}

int ipod_gps_recv(int fd, std::uint32_t a1, std::uint32_t a2, void* buffer, int size,
                  void* fourBytes) {
    IpodRequest request(0x62, GPS_REQUEST_SIZE);
    request.word(16, a1).word(20, a2).word(24, asWord(size));
    return sendForWord(fd, request, fourBytes, 4, buffer, bytesOf(size));
}

int ipod_get_nowplaying_name(int fd, void* buffer, int size) {
    return sendForWord(fd, IpodRequest(0x38), buffer, bytesOf(size));
}

int ipod_get_nowplaying_app(int fd, void* buffer, int size) {
    return sendForWord(fd, IpodRequest(0x37), buffer, bytesOf(size));
}

int ipod_get_model(int fd, void* fourBytes, void* buffer, int size) {
    IpodParts reply;
    reply.add(fourBytes, 4).add(buffer, bytesOf(size));
    return sendFor(fd, IpodRequest(0x34), reply);
}

int ipod_get_capabilities(int fd, void* buffer, int count, int /*reserved*/) {
    return sendForWord(fd, IpodRequest(0x32), buffer,
                       buffer == nullptr ? 0 : bytesOf(count, CAPABILITY_SIZE));
}

int ipod_pushui_get_approval(int fd, std::uint32_t a1, void* buffer, int size) {
    return sendForWord(fd, IpodRequest(0x24).word(8, a1).word(12, asWord(size)), buffer,
                       bytesOf(size));
}

int ipod_cfg_audio_in_get(int fd, std::uint32_t a1, void* buffer, int size) {
    return sendForWord(fd, IpodRequest(0x40).word(8, a1), buffer, bytesOf(size));
}

int ipod_eaf_getevents(int fd, void* buffer, int count) {
    return sendForWord(fd, IpodRequest(0x05), buffer, bytesOf(count, EAF_EVENT_SIZE));
}

int ipod_eaf_getprotocol(int fd, std::uint32_t a1, void* buffer, int size) {
    return sendForWord(fd, IpodRequest(0x03).word(8, a1), buffer, bytesOf(size));
}

int ipod_eaf_recv(int fd, std::uint32_t a1, void* buffer, int size) {
    return sendForWord(fd, IpodRequest(0x01).word(8, a1).word(12, asWord(size)), buffer,
                       bytesOf(size));
}

int ipod_gps_send(int fd, std::uint32_t a1, std::uint32_t a2, void const* data, int size) {
    IpodRequest request(0x61, GPS_REQUEST_SIZE);
    request.word(16, a1).word(20, a2).word(24, asWord(size));
    return sendWith(fd, request, data, bytesOf(size));
}

int ipod_write_feature(int fd, std::uint32_t a1, void const* data, int size) {
    return sendWith(fd, IpodRequest(0x50).word(16, a1), data, bytesOf(size));
}

int ipod_request_app_launch(int fd, char const* text) {
    return sendWith(fd, IpodRequest(0x36), text, textSize(text));
}

int ipod_cfg_set(int fd, char const* text, char const* second) {
    return sendTexts(fd, IpodRequest(0x0B), text, second);
}

int ipod_ctrl_passthru(int fd, std::uint32_t a1, std::uint32_t a2, void const* data, int size) {
    IpodRequest request(0x10);
    request.word(12, asWord(size)).word(16, a1).word(20, a2);
    return sendWith(fd, request, data, bytesOf(size));
}

int ipod_eaf_cfg_session_set(int fd, std::uint32_t a1, char const* text, char const* second) {
    return sendTexts(fd, IpodRequest(0x0A).word(8, a1), text, second);
}

int ipod_eaf_cfg_set(int fd, char const* text, char const* second) {
    return sendTexts(fd, IpodRequest(0x09), text, second);
}

int ipod_eaf_addprotocol(int fd, char const* text) {
    IpodRequest const request(0x08);
    IpodReplyWord word;
    IpodParts parts;
    parts.add(request.data(), request.size()).add(text, textSize(text));
    int const result =
        static_cast<int>(MsgSendvs(fd, parts.data(), parts.count(), word.data(), word.size()));
    return result == 0 ? word.value() : result;
}

int ipod_eaf_send(int fd, std::uint32_t a1, void const* data, int size) {
    return sendWith(fd, IpodRequest(0x00).word(8, a1).word(12, asWord(size)), data, bytesOf(size));
}
