#include "platform/ControlNodeFrame.h"

#include "platform/ByteOrder.h"

ControlNodeRequestHeader::Bytes ControlNodeRequestHeader::encode() const {
    Bytes bytes{};
    putLE32(&bytes[0], kind);
    putLE32(&bytes[4], dcmd);
    putLE32(&bytes[8], sendBytes);
    putLE32(&bytes[12], replyRoom);
    return bytes;
}

ControlNodeRequestHeader ControlNodeRequestHeader::decode(Bytes const& bytes) {
    return {getLE32(&bytes[0]), getLE32(&bytes[4]), getLE32(&bytes[8]), getLE32(&bytes[12])};
}

ControlNodeReplyHeader::Bytes ControlNodeReplyHeader::encode() const {
    Bytes bytes{};
    putLE32(&bytes[0], static_cast<std::uint32_t>(status));
    putLE32(&bytes[4], static_cast<std::uint32_t>(info));
    putLE32(&bytes[8], dataBytes);
    return bytes;
}

ControlNodeReplyHeader ControlNodeReplyHeader::decode(Bytes const& bytes) {
    return {static_cast<std::int32_t>(getLE32(&bytes[0])),
            static_cast<std::int32_t>(getLE32(&bytes[4])), getLE32(&bytes[8])};
}
