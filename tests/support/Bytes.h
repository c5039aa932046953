#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/** The bytes of a text like "01 00 ff", spaces anywhere between the pairs. */
inline std::string hex(std::string const& pairs) {
    std::string digits;
    for (char const c : pairs) {
        if (c != ' ') {
            digits += c;
        }
    }
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

/** A number as `width` bytes, the lowest first. */
inline std::string le(std::uint64_t value, int width = 4) {
    std::string bytes;
    for (int i = 0; i < width; ++i) {
        bytes += static_cast<char>(value >> (8 * i) & 0xFF);
    }
    return bytes;
}

/** A number as four bytes, the highest first. */
inline std::string be32(std::uint64_t value) {
    std::string const bytes = le(value);
    return {bytes.rbegin(), bytes.rend()};
}

/** `count` bytes that tell their place: 1, 2, 3 and so on. */
inline std::string pattern(std::size_t count) {
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i) {
        bytes += static_cast<char>(i % 255 + 1);
    }
    return bytes;
}
