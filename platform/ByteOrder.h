#pragma once

#include <cstdint>

// Numbers in messages and records, written and read byte by byte: the same on every machine.

inline void putLE16(std::uint8_t* to, std::uint16_t value) {
    to[0] = static_cast<std::uint8_t>(value);
    to[1] = static_cast<std::uint8_t>(value >> 8U);
}

inline void putLE32(std::uint8_t* to, std::uint32_t value) {
    putLE16(to, static_cast<std::uint16_t>(value));
    putLE16(to + 2, static_cast<std::uint16_t>(value >> 16U));
}

inline std::uint32_t getLE16(std::uint8_t const* from) {
    return from[0] | static_cast<std::uint32_t>(from[1]) << 8U;
}

inline std::uint32_t getLE32(std::uint8_t const* from) {
    return getLE16(from) | getLE16(from + 2) << 16U;
}

inline std::uint32_t getBE32(std::uint8_t const* from) {
    return static_cast<std::uint32_t>(from[0]) << 24U | static_cast<std::uint32_t>(from[1]) << 16U
           | static_cast<std::uint32_t>(from[2]) << 8U | from[3];
}
