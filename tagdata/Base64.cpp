#include "tagdata/Base64.h"

#include <algorithm>
#include <cstdint>

namespace {

constexpr unsigned int GROUP_BYTES = 3;
constexpr unsigned int GROUP_CHARACTERS = 4;
constexpr unsigned int CHARACTER_BITS = 6;
constexpr unsigned int BYTE_BITS = 8;
constexpr char PADDING = '=';

/** The nth of the equal parts of a group, counted from its high bits. */
std::uint32_t part(std::uint32_t group, unsigned int n, unsigned int parts, unsigned int bits) {
    return (group >> ((parts - 1 - n) * bits)) & ((1U << bits) - 1U);
}

/** A group of characters, of which the first n are there, gives one byte less than n. */
void appendBytes(std::string& bytes, std::uint32_t group, unsigned int characters) {
    group <<= (GROUP_CHARACTERS - characters) * CHARACTER_BITS;
    for (unsigned int n = 0; n + 1 < characters; ++n) {
        bytes += static_cast<char>(part(group, n, GROUP_BYTES, BYTE_BITS));
    }
}

} // namespace

Base64::Base64() : mAlphabet("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/") {}

Base64::~Base64() = default;

std::string Base64::encode(unsigned char const* bytes, unsigned int count) const {
    std::string text;
    text.reserve((std::size_t{count} + GROUP_BYTES - 1) / GROUP_BYTES * GROUP_CHARACTERS);
    for (std::size_t at = 0; at < count; at += GROUP_BYTES) {
        std::size_t const there = std::min<std::size_t>(GROUP_BYTES, count - at);
        std::uint32_t group = 0;
        for (std::size_t n = 0; n < GROUP_BYTES; ++n) {
            group = group << BYTE_BITS | (n < there ? bytes[at + n] : 0U);
        }
        for (unsigned int n = 0; n < GROUP_CHARACTERS; ++n) {
            text +=
                n <= there ? mAlphabet[part(group, n, GROUP_CHARACTERS, CHARACTER_BITS)] : PADDING;
        }
    }
    return text;
}

std::string Base64::decode(std::string const& text) const {
    std::string bytes;
    std::uint32_t group = 0;
    unsigned int characters = 0;
    for (char const character : text) {
        std::size_t const value = mAlphabet.find(character);
        if (value == std::string::npos) {
            break;
        }
        group = group << CHARACTER_BITS | static_cast<std::uint32_t>(value);
        if (++characters == GROUP_CHARACTERS) {
            appendBytes(bytes, group, characters);
            group = 0;
            characters = 0;
        }
    }
    appendBytes(bytes, group, characters);
    return bytes;
}
