#pragma once

#include <array>
#include <cstdint>

// The frame of an exchange with a control node: a request header and the bytes sent, then a reply
// header and the reply's data. This is the one place that knows it; docs/driver-link.md shows it
// byte by byte. All numbers are 32 bits, little-endian.

/** What a request is. */
enum class ControlNodeKind : std::uint32_t { Message = 1, Devctl = 2 };

struct ControlNodeRequestHeader {
    using Bytes = std::array<std::uint8_t, 16>;

    std::uint32_t kind;      ///< a ControlNodeKind
    std::uint32_t dcmd;      ///< the device command, 0 for a message
    std::uint32_t sendBytes; ///< how many bytes follow
    std::uint32_t replyRoom; ///< how many bytes of data the sender can take

    Bytes encode() const;
    static ControlNodeRequestHeader decode(Bytes const& bytes);
};

struct ControlNodeReplyHeader {
    using Bytes = std::array<std::uint8_t, 12>;

    /** Message: the result, or the negated errno. Device command: 0 or the errno. */
    std::int32_t status;
    std::int32_t info;       ///< the driver's word for devctl(); 0 for a message
    std::uint32_t dataBytes; ///< how many bytes follow, at most the reply room

    Bytes encode() const;
    static ControlNodeReplyHeader decode(Bytes const& bytes);
};
