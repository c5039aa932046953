// Texts that clients and the media service send, into values.
//
// Not left to the library that holds the values: its readers differ from version to version in what
// they take for JSON, in how deep they follow and in the numbers that they refuse, and a tag that
// was stored yesterday must not be refused because the system has been upgraded. What is read here,
// and what is not, is what its version 1.9.5 reads; the corpus in tests/fixtures/json.txt has five
// hundred texts with what becomes of them.
//
// A value is filled in where it stands, so a text that turns out to be no JSON has left parts of it
// behind. parseJson() clears them away.
#include "bus/JsonText.h"

#include "bus/JsonTokens.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <sstream>
#include <string>

namespace {

constexpr unsigned int DECIMAL = 10;
constexpr unsigned int HEXADECIMAL = 16;

constexpr bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

/** One hexadecimal digit, or nothing. */
std::optional<unsigned int> hexDigit(char character) {
    constexpr std::string_view DIGITS = "0123456789abcdef";
    bool const upper = character >= 'A' && character <= 'F';
    std::size_t const value =
        DIGITS.find(upper ? static_cast<char>(character - 'A' + 'a') : character);
    if (value == std::string_view::npos) {
        return std::nullopt;
    }
    return static_cast<unsigned int>(value);
}

void appendUtf8(std::string& text, unsigned int codePoint) {
    constexpr unsigned int BITS = 6;
    auto const continuation = [&](unsigned int shift) {
        text += static_cast<char>(0x80U | (codePoint >> shift & 0x3FU));
    };
    if (codePoint < 0x80U) {
        text += static_cast<char>(codePoint);
    } else if (codePoint < 0x800U) {
        text += static_cast<char>(0xC0U | codePoint >> BITS);
        continuation(0);
    } else if (codePoint < 0x10000U) {
        text += static_cast<char>(0xE0U | codePoint >> 2 * BITS);
        continuation(BITS);
        continuation(0);
    } else {
        text += static_cast<char>(0xF0U | codePoint >> 3 * BITS);
        continuation(2 * BITS);
        continuation(BITS);
        continuation(0);
    }
}

/** Reads what stands between the quotes of a string. */
class StringReader {
public:
    explicit StringReader(std::string_view quoted) : mRest(quoted.substr(1, quoted.size() - 2)) {}

    /** Nothing for an escape that does not exist. */
    std::optional<std::string> read() {
        std::string text;
        text.reserve(mRest.size());
        while (!mRest.empty()) {
            // Any other character stands for itself, be it a line feed.
            std::size_t const plain = mRest.find('\\');
            text += mRest.substr(0, plain);
            mRest.remove_prefix(plain == std::string_view::npos ? mRest.size() : plain + 1);
            if (plain != std::string_view::npos && !readEscape(text)) {
                return std::nullopt;
            }
        }
        return text;
    }

private:
    bool readEscape(std::string& text) {
        constexpr std::string_view ESCAPES = "\"\\/bfnrt";
        constexpr std::string_view MEANINGS = "\"\\/\b\f\n\r\t";
        char const escape = mRest.front();
        mRest.remove_prefix(1);
        if (escape == 'u') {
            return readCodePoint(text);
        }
        std::size_t const known = ESCAPES.find(escape);
        if (known == std::string_view::npos) {
            return false;
        }
        text += MEANINGS[known];
        return true;
    }

    bool readCodePoint(std::string& text) {
        std::optional<unsigned int> unit = readUnit();
        if (unit && *unit >= 0xD800U && *unit <= 0xDBFFU) {
            // Whatever follows is taken for the second half of the pair.
            bool const followed = mRest.substr(0, 2) == "\\u";
            mRest.remove_prefix(followed ? 2 : 0);
            std::optional<unsigned int> const second = followed ? readUnit() : std::nullopt;
            unit = second ? std::optional(0x10000U + ((*unit & 0x3FFU) << 10U) + (*second & 0x3FFU))
                          : std::nullopt;
        }
        if (unit) {
            appendUtf8(text, *unit);
        }
        return unit.has_value();
    }

    /** Four hexadecimal digits. */
    std::optional<unsigned int> readUnit() {
        constexpr std::size_t DIGITS = 4;
        if (mRest.size() < DIGITS) {
            return std::nullopt;
        }
        unsigned int unit = 0;
        for (char const character : mRest.substr(0, DIGITS)) {
            std::optional<unsigned int> const digit = hexDigit(character);
            if (!digit) {
                return std::nullopt;
            }
            unit = unit * HEXADECIMAL + *digit;
        }
        mRest.remove_prefix(DIGITS);
        return unit;
    }

    std::string_view mRest;
};

bool readDouble(std::string_view text, Json::Value& value) {
    std::istringstream stream{std::string(text)};
    double number = 0;
    // Refused are an exponent without digits and what is larger than a double can be.
    if (!(stream >> number)) {
        return false;
    }
    value = number;
    return true;
}

/** The digits as a number; nothing for what is no integer or larger than the limit. */
std::optional<std::uint64_t> integerOf(std::string_view digits, std::uint64_t limit) {
    std::uint64_t number = 0;
    for (char const character : digits) {
        if (!isDigit(character)) {
            return std::nullopt;
        }
        auto const digit = static_cast<unsigned int>(character - '0');
        if (number > (limit - digit) / DECIMAL) {
            return std::nullopt;
        }
        number = number * DECIMAL + digit;
    }
    return number;
}

bool readNumber(std::string_view text, Json::Value& value) {
    constexpr auto LARGEST = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    bool const negative = text.front() == '-';
    std::optional<std::uint64_t> const integer =
        negative ? integerOf(text.substr(1), LARGEST + 1)
                 : integerOf(text, std::numeric_limits<std::uint64_t>::max());
    if (!integer) {
        return readDouble(text, value);
    }
    if (negative) {
        // A lone sign is 0. Test: JsonCorpus.*
        value = static_cast<Json::LargestInt>(0 - *integer);
    } else if (*integer <= static_cast<std::uint64_t>(Json::Value::maxInt)) {
        value = static_cast<Json::LargestInt>(*integer);
    } else {
        value = static_cast<Json::LargestUInt>(*integer);
    }
    return true;
}

class ValueReader {
public:
    explicit ValueReader(std::string_view text) : mTokens(text) {}

    /** Reads the value that stands next, inside so many others. What follows is left unread. */
    bool readValue(Json::Value& value, unsigned int depth) {
        if (depth == MAX_JSON_DEPTH) {
            return false;
        }
        JsonToken const token = mTokens.nextButComments();
        switch (token.kind) {
        case JsonToken::ObjectBegin:
            return readObject(value, depth + 1);
        case JsonToken::ArrayBegin:
            return readArray(value, depth + 1);
        case JsonToken::String:
            return readString(token.text, value);
        case JsonToken::Number:
            return readNumber(token.text, value);
        case JsonToken::True:
        case JsonToken::False:
            value = token.kind == JsonToken::True;
            return true;
        case JsonToken::Null:
            value = Json::Value();
            return true;
        default:
            return false;
        }
    }

private:
    static bool readString(std::string_view quoted, Json::Value& value) {
        std::optional<std::string> const text = StringReader(quoted).read();
        if (text) {
            value = *text;
        }
        return text.has_value();
    }

    bool readObject(Json::Value& object, unsigned int depth) {
        object = Json::Value(Json::objectValue);
        std::string name;
        for (;;) {
            JsonToken const token = mTokens.nextButComments();
            // Also behind a comma, if the member before it has the empty name.
            if (token.kind == JsonToken::ObjectEnd && name.empty()) {
                return true;
            }
            if (token.kind != JsonToken::String || !readMember(token.text, name, object, depth)) {
                return false;
            }
            switch (separator()) {
            case JsonToken::ObjectEnd:
                return true;
            case JsonToken::Comma:
                break;
            default:
                return false;
            }
        }
    }

    bool readMember(std::string_view quotedName, std::string& name, Json::Value& object,
                    unsigned int depth) {
        std::optional<std::string> const text = StringReader(quotedName).read();
        if (!text || mTokens.next().kind != JsonToken::Colon) {
            return false;
        }
        name = *text;
        return readValue(object[name], depth);
    }

    /** What stands behind a member. Behind a comment, whatever is not the end counts as a comma. */
    JsonToken::Kind separator() {
        JsonToken const token = mTokens.next();
        if (token.kind != JsonToken::Comment) {
            return token.kind;
        }
        bool const end = mTokens.nextButComments().kind == JsonToken::ObjectEnd;
        return end ? JsonToken::ObjectEnd : JsonToken::Comma;
    }

    bool readArray(Json::Value& array, unsigned int depth) {
        array = Json::Value(Json::arrayValue);
        if (mTokens.nextIs(']')) {
            mTokens.next();
            return true;
        }
        for (Json::ArrayIndex index = 0; readValue(array[index], depth); ++index) {
            JsonToken::Kind const kind = mTokens.nextButComments().kind;
            if (kind != JsonToken::Comma) {
                return kind == JsonToken::ArrayEnd;
            }
        }
        return false;
    }

    JsonTokens mTokens;
};

} // namespace

bool parseJson(std::string_view text, Json::Value& value) {
    if (ValueReader(text).readValue(value, 0)) {
        return true;
    }
    value = Json::Value();
    return false;
}
