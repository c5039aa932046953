#include "radio/Text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>

namespace {

constexpr std::uint32_t REPLACEMENT = 0xFFFD;
constexpr std::uint32_t LEAST_IN_TWO_BYTES = 0x80;
constexpr std::uint32_t LEAST_IN_THREE_BYTES = 0x800;
constexpr std::uint32_t LEAST_IN_FOUR_BYTES = 0x10000;
constexpr unsigned int CONTINUED_BITS = 6;
constexpr unsigned char CONTINUED = 0x80;
constexpr unsigned char CONTINUED_MASK = 0x3F;
constexpr unsigned char LAST_CONTINUED = 0xBF;

/** Which lead bytes there are, and what the byte behind each of them may be. */
struct Lead {
    unsigned char first;
    unsigned char last;
    unsigned int length;
    unsigned char payload;
    unsigned char lowestSecond;
    unsigned char highestSecond;
};

// The ranges of the second byte keep out forms that are longer than need be, surrogates and what
// lies beyond the last character.
constexpr std::array<Lead, 9> LEADS = {{
    {0x00, 0x7F, 1, 0x7F, 0, 0},
    {0xC2, 0xDF, 2, 0x1F, 0x80, 0xBF},
    {0xE0, 0xE0, 3, 0x0F, 0xA0, 0xBF},
    {0xE1, 0xEC, 3, 0x0F, 0x80, 0xBF},
    {0xED, 0xED, 3, 0x0F, 0x80, 0x9F},
    {0xEE, 0xEF, 3, 0x0F, 0x80, 0xBF},
    {0xF0, 0xF0, 4, 0x07, 0x90, 0xBF},
    {0xF1, 0xF3, 4, 0x07, 0x80, 0xBF},
    {0xF4, 0xF4, 4, 0x07, 0x80, 0x8F},
}};

/** Takes one character, or the longest beginning of one, off the front of the bytes. */
std::uint32_t takeCharacter(std::string_view& bytes) {
    auto const first = static_cast<unsigned char>(bytes.front());
    bytes.remove_prefix(1);
    auto const* const lead = std::find_if(LEADS.begin(), LEADS.end(), [first](Lead const& range) {
        return first >= range.first && first <= range.last;
    });
    if (lead == LEADS.end()) {
        return REPLACEMENT;
    }
    std::uint32_t character = first & lead->payload;
    unsigned char lowest = lead->lowestSecond;
    unsigned char highest = lead->highestSecond;
    for (unsigned int left = lead->length - 1; left > 0; --left) {
        auto const next = static_cast<unsigned char>(bytes.empty() ? '\0' : bytes.front());
        if (next < lowest || next > highest) {
            return REPLACEMENT;
        }
        bytes.remove_prefix(1);
        character = (character << CONTINUED_BITS) | (next & CONTINUED_MASK);
        lowest = CONTINUED;
        highest = LAST_CONTINUED;
    }
    return character;
}

void append(std::string& text, std::uint32_t character) {
    auto const continued = [character](unsigned int shift) {
        return static_cast<char>(CONTINUED | ((character >> shift) & CONTINUED_MASK));
    };
    if (character < LEAST_IN_TWO_BYTES) {
        text += static_cast<char>(character);
    } else if (character < LEAST_IN_THREE_BYTES) {
        text += {static_cast<char>(0xC0U | (character >> 6U)), continued(0)};
    } else if (character < LEAST_IN_FOUR_BYTES) {
        text += {static_cast<char>(0xE0U | (character >> 12U)), continued(6), continued(0)};
    } else {
        text += {static_cast<char>(0xF0U | (character >> 18U)), continued(12), continued(6),
                 continued(0)};
    }
}

bool isControl(std::uint32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

bool isBlank(std::uint32_t character) {
    constexpr std::array<std::uint32_t, 10> OTHERS = {0x20,   0xA0,   0x1680, 0x2028, 0x2029,
                                                      0x202F, 0x205F, 0x2060, 0x3000, 0xFEFF};
    return (character >= 0x2000 && character <= 0x200B)
           || std::find(OTHERS.begin(), OTHERS.end(), character) != OTHERS.end();
}

/** Not a character of XML, although UTF-8 can write it. */
bool isNoncharacter(std::uint32_t character) {
    return character == 0xFFFE || character == 0xFFFF;
}

char lowered(char letter) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
}

} // namespace

std::string cleanText(std::string_view bytes) {
    std::string text;
    std::size_t end = 0; // behind the last character that is no blank
    while (!bytes.empty()) {
        std::uint32_t const character = takeCharacter(bytes);
        if (isControl(character) || isBlank(character)) {
            if (!text.empty()) {
                append(text, isControl(character) ? ' ' : character);
            }
            continue;
        }
        append(text, isNoncharacter(character) ? REPLACEMENT : character);
        if (text.size() > MAX_FIELD_BYTES) {
            break;
        }
        end = text.size();
    }
    text.resize(end);
    return text;
}

bool sameWords(std::string_view one, std::string_view other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](char left, char right) { return lowered(left) == lowered(right); });
}

bool saysSomething(std::string_view text) {
    return !text.empty() && !sameWords(text, "null") && !sameWords(text, "(null)");
}

bool isDigits(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char letter) {
        return std::isdigit(static_cast<unsigned char>(letter)) != 0;
    });
}
