#pragma once

#include "Streams.h"

#include <optional>
#include <utility>
#include <vector>

// What a stream must decode to, worked out from its lengths alone. Written against the layout of a
// stream and not against the decoders, whose results it is compared with.

namespace model {

constexpr std::size_t LENGTHS_OF_ONE_TAG = 15;

inline std::string utf8(Bytes const& stream, std::size_t start, std::size_t length, bool zeros) {
    std::string text;
    for (std::size_t at = start; at < start + length; ++at) {
        unsigned int const byte = stream[at];
        if (byte >= 0x80) {
            text += static_cast<char>(0xC0U | (byte >> 6U));
            text += static_cast<char>(0x80U | (byte & 0x3FU));
        } else if (byte != 0 || zeros) {
            text += static_cast<char>(byte);
        }
    }
    return text;
}

inline std::string base64(std::string const& bytes) {
    constexpr char DIGITS[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bits;
    for (char const byte : bytes) {
        for (int bit = 7; bit >= 0; --bit) {
            bits += ((static_cast<unsigned char>(byte) >> bit) & 1) != 0 ? '1' : '0';
        }
    }
    bits.resize((bits.size() + 5) / 6 * 6, '0');
    std::string text;
    for (std::size_t at = 0; at < bits.size(); at += 6) {
        text += DIGITS[std::stoul(bits.substr(at, 6), nullptr, 2)];
    }
    text.resize((text.size() + 3) / 4 * 4, '=');
    return text;
}

/** The values at these places; numbers are taken to be digits without leading zeros. */
inline Values values(Bytes const& stream, std::size_t lengthsAt, std::size_t start) {
    Values texts = onlyThese({});
    for (std::size_t field = 0; field < FieldCount; ++field) {
        std::size_t const length = stream[lengthsAt + field];
        if (length != 0 && start + length <= stream.size()) {
            texts[field] = field == UnknownData ? base64(utf8(stream, start, length, true))
                                                : utf8(stream, start, length, false);
        }
        start += length;
    }
    return texts;
}

inline std::size_t sumOfLengths(Bytes const& stream, std::size_t lengthsAt, std::size_t fields) {
    std::size_t sum = 0;
    for (std::size_t field = 0; field < fields; ++field) {
        sum += stream[lengthsAt + field];
    }
    return sum;
}

/** A single tag needs its lengths and each field's end, but not Artist's nor the frequency's. */
inline std::optional<Values> single(Bytes const& stream) {
    if (stream.size() < LENGTHS_OF_ONE_TAG) {
        return std::nullopt;
    }
    std::size_t needed = 0;
    for (std::size_t field = 0; field < FieldCount; ++field) {
        if (field != Artist && field != StationFrequency && stream[1 + field] != 0) {
            needed = 16 + sumOfLengths(stream, 1, field + 1);
        }
    }
    if (stream.size() < needed) {
        return std::nullopt;
    }
    return values(stream, 1, 16);
}

/** An ambiguous tag needs everything, as a button stands at its very end. */
inline std::optional<std::vector<std::pair<Values, int>>> ambiguous(Bytes const& stream) {
    if (stream.size() < 1 + 2 * LENGTHS_OF_ONE_TAG) {
        return std::nullopt;
    }
    std::size_t const firstButton = 31 + sumOfLengths(stream, 1, FieldCount);
    std::size_t const secondButton = firstButton + 1 + sumOfLengths(stream, 16, FieldCount);
    if (stream.size() <= secondButton) {
        return std::nullopt;
    }
    auto const digit = [&](std::size_t at) { return static_cast<int>(stream[at]) - '0'; };
    return {{{values(stream, 1, 31), digit(firstButton)},
             {values(stream, 16, firstButton + 1), digit(secondButton)}}};
}

} // namespace model
