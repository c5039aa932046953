#include "ipod/IpodRequest.h"

#include "platform/ByteOrder.h"

namespace {

constexpr std::uint16_t MESSAGE_TYPE = 0x0113; // _IO_MSG
constexpr std::uint16_t DRIVER_MANAGER_ID = 0x0013;

} // namespace

IpodRequest::IpodRequest(std::uint16_t code, std::size_t size, std::size_t combineLength)
    : mSize(size) {
    putLE16(&mBytes[0], MESSAGE_TYPE);
    putLE16(&mBytes[2], static_cast<std::uint16_t>(combineLength));
    putLE16(&mBytes[4], DRIVER_MANAGER_ID);
    putLE16(&mBytes[6], code);
}

IpodRequest& IpodRequest::byte(std::size_t offset, std::uint32_t value) {
    mBytes[offset] = static_cast<std::uint8_t>(value);
    return *this;
}

IpodRequest& IpodRequest::word(std::size_t offset, std::uint32_t value) {
    putLE32(&mBytes[offset], value);
    return *this;
}

IpodRequest& IpodRequest::longWord(std::size_t offset, std::uint64_t value) {
    return word(offset, static_cast<std::uint32_t>(value))
        .word(offset + 4, static_cast<std::uint32_t>(value >> 32U));
}

IpodParts& IpodParts::add(void const* address, std::size_t size) {
    if (size > 0) {
        SETIOV(&mParts[static_cast<std::size_t>(mCount++)], address, size);
    }
    return *this;
}

std::int32_t IpodReplyWord::value() const {
    return static_cast<std::int32_t>(getLE32(mBytes.data()));
}
