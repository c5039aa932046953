#pragma once

#include "platform/neutrino.h"

#include <array>
#include <cstddef>
#include <cstdint>

/**
 * A request to the iPod driver: the message header, then a body that is zero wherever nothing is
 * put. Offsets count from the start of the message.
 */
class IpodRequest {
public:
    static constexpr std::size_t HEADER_SIZE = 8;
    static constexpr std::size_t USUAL_SIZE = 24;
    static constexpr std::size_t LARGEST_SIZE = 48;

    explicit IpodRequest(std::uint16_t code, std::size_t size = USUAL_SIZE,
                         std::size_t combineLength = HEADER_SIZE);

    IpodRequest& byte(std::size_t offset, std::uint32_t value);
    IpodRequest& word(std::size_t offset, std::uint32_t value);
    IpodRequest& longWord(std::size_t offset, std::uint64_t value);

    void const* data() const { return mBytes.data(); }
    std::size_t size() const { return mSize; }

private:
    std::array<std::uint8_t, LARGEST_SIZE> mBytes{};
    std::size_t mSize;
};

/** The parts of one send or receive, in order. Empty parts are left out. */
class IpodParts {
public:
    IpodParts& add(void const* address, std::size_t size);

    iov_t const* data() const { return mParts.data(); }
    int count() const { return mCount; }

private:
    static constexpr std::size_t MOST = 3;

    std::array<iov_t, MOST> mParts{};
    int mCount = 0;
};

/** The first four bytes of most replies, a signed number. Zero until they arrive. */
class IpodReplyWord {
public:
    /** Where the four bytes go. */
    void* data() { return mBytes.data(); }
    std::size_t size() const { return mBytes.size(); }

    std::int32_t value() const;

private:
    std::array<std::uint8_t, 4> mBytes{};
};
