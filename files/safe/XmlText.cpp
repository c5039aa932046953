#include "files/safe/XmlText.h"

#include <cstdint>

namespace {

constexpr std::uint32_t NO_CHARACTER = 0xFFFFFFFF;

struct Decoded {
    std::uint32_t point; ///< NO_CHARACTER for a byte that begins none
    std::size_t length;
};

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/** How many bytes the first one announces, and the smallest code point that needs as many. */
struct Lead {
    std::size_t length;
    std::uint32_t bits;
    std::uint32_t smallest;
};

Lead leadOf(unsigned char byte) {
    if (byte < 0x80U) {
        return {1, byte, 0};
    }
    if (byte >= 0xC2U && byte < 0xE0U) {
        return {2, byte & 0x1FU, 0x80};
    }
    if (byte >= 0xE0U && byte < 0xF0U) {
        return {3, byte & 0x0FU, 0x800};
    }
    if (byte >= 0xF0U && byte < 0xF5U) {
        return {4, byte & 0x07U, 0x10000};
    }
    return {0, 0, 0};
}

Decoded decode(std::string_view text) {
    Lead const lead = leadOf(static_cast<unsigned char>(text.front()));
    if (lead.length == 0 || lead.length > text.size()) {
        return {NO_CHARACTER, 1};
    }
    std::uint32_t point = lead.bits;
    for (std::size_t at = 1; at < lead.length; ++at) {
        if (!isContinuation(text[at])) {
            return {NO_CHARACTER, 1};
        }
        point = point << 6U | (static_cast<unsigned char>(text[at]) & 0x3FU);
    }
    return {point < lead.smallest ? NO_CHARACTER : point, lead.length};
}

bool isXmlCharacter(std::uint32_t point) {
    return point == 0x9 || point == 0xA || point == 0xD || (point >= 0x20 && point <= 0xD7FF)
           || (point >= 0xE000 && point <= 0xFFFD) || (point >= 0x10000 && point <= 0x10FFFF);
}

} // namespace

std::string xmlHoldable(std::string_view text) {
    std::string held;
    held.reserve(text.size());
    while (!text.empty()) {
        Decoded const character = decode(text);
        if (isXmlCharacter(character.point)) {
            held += text.substr(0, character.length);
        }
        text.remove_prefix(character.length);
    }
    return held;
}

std::string xmlEncoded(std::string_view text) {
    std::string encoded;
    encoded.reserve(text.size());
    for (char const byte : text) {
        switch (byte) {
        case '&':
            encoded += "&amp;";
            break;
        case '<':
            encoded += "&lt;";
            break;
        case '>':
            encoded += "&gt;";
            break;
        case '"':
            encoded += "&quot;";
            break;
        case '\'':
            encoded += "&apos;";
            break;
        // Unencoded, a reader turns these into blanks in an attribute, and a carriage return into a
        // line feed everywhere.
        case '\t':
            encoded += "&#9;";
            break;
        case '\n':
            encoded += "&#10;";
            break;
        case '\r':
            encoded += "&#13;";
            break;
        default:
            encoded += byte;
        }
    }
    return encoded;
}
