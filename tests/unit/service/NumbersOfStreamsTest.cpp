// The conversions are defined by what the streams of the standard library do with a text. They go
// another way, as a stream costs more than all else that is done with a stored tag; here both ways
// read and write the same.
#include "service/stdTools.h"

#include "support/Thrown.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

/** Digits with every kind of character that can matter around them. */
constexpr char CHARACTER_LIST[] = "0189+- \t\n\v\f\r\0.,xXaAbeE'_\xA0\xC2";
constexpr std::string_view CHARACTERS(CHARACTER_LIST, sizeof CHARACTER_LIST - 1);

template <class Number>
std::string readByStream(std::string const& text) {
    std::istringstream stream(text);
    Number number{};
    return stream >> number ? std::to_string(number) : "refused";
}

template <class Convert>
std::string readByConversion(std::string const& text, Convert convert) {
    std::string read = "refused";
    thrownBy([&] { read = std::to_string(convert(text)); });
    return read;
}

void expectAsStream(std::string const& text) {
    ASSERT_EQ(readByConversion(text, stdTools::parseInt), readByStream<std::int32_t>(text))
        << '"' << text << '"';
    ASSERT_EQ(readByConversion(text, stdTools::parseULong), readByStream<std::uint32_t>(text))
        << '"' << text << '"';
}

template <class Number>
std::string writtenByStream(Number number) {
    std::ostringstream stream;
    stream << number;
    return stream.str();
}

/** Around all powers of two, where a number begins or ceases to fit. */
template <class Visit>
void forEachEdge(Visit visit) {
    for (unsigned int bit = 0; bit < 64; ++bit) {
        std::uint64_t const power = std::uint64_t{1} << bit;
        for (std::uint64_t const number : {power - 1, power, power + 1}) {
            visit(number);
        }
    }
}

} // namespace

TEST(NumbersOfStreams, EveryShortTextIsReadAsByAStream) {
    constexpr std::size_t LONGEST = 3;
    std::vector<std::string> texts = {""};
    for (std::size_t first = 0, length = 0; length <= LONGEST; ++length) {
        std::size_t const end = texts.size();
        for (; first < end; ++first) {
            std::string const text = texts[first];
            ASSERT_NO_FATAL_FAILURE(expectAsStream(text));
            for (std::size_t next = 0; length < LONGEST && next < CHARACTERS.size(); ++next) {
                texts.push_back(text + CHARACTERS[next]);
            }
        }
    }
}

TEST(NumbersOfStreams, TextsOfAnyLengthAreReadAsByAStream) {
    std::mt19937 random(1); // NOLINT: the same texts in each run
    for (int round = 0; round < 50000; ++round) {
        std::string text;
        for (auto length = random() % 16; length > 0; --length) {
            bool const digit = random() % 4 != 0;
            text += digit ? static_cast<char>('0' + random() % 10)
                          : CHARACTERS[random() % CHARACTERS.size()];
        }
        ASSERT_NO_FATAL_FAILURE(expectAsStream(text));
    }
}

TEST(NumbersOfStreams, NumbersAtTheEdgeOfTheirRangeAreReadAsByAStream) {
    forEachEdge([](std::uint64_t number) {
        for (char const* const front : {"", "+", "-", " -", "0000000000000000000000", "-00"}) {
            for (char const* const behind : {"", "0", ".5", " 1", "e9"}) {
                expectAsStream(front + std::to_string(number) + behind);
            }
        }
    });
}

TEST(NumbersOfStreams, EveryNumberIsWrittenAsByAStream) {
    forEachEdge([](std::uint64_t edge) {
        for (std::uint64_t const number : {edge, 0 - edge}) {
            auto const integer = static_cast<int>(number);
            auto const natural = static_cast<unsigned int>(number);
            auto const wide = static_cast<unsigned long>(number);
            EXPECT_EQ(stdTools::toString(integer), writtenByStream(integer));
            EXPECT_EQ(stdTools::toString(natural), writtenByStream(natural));
            EXPECT_EQ(stdTools::toString(wide), writtenByStream(wide));
        }
    });
}
