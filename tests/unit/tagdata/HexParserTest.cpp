#include "tagdata/HexParser.h"

#include "Decoding.h"
#include "Streams.h"
#include "support/FixedClock.h"
#include "support/LogFault.h"
#include "support/TimeZone.h"

#include <gmock/gmock.h>

#include <ctime>
#include <functional>
#include <stdexcept>
#include <type_traits>
#include <utility>

using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::has_virtual_destructor_v<CHexParser>);

namespace {

CHexParser const PARSER(0, false);

Bytes listFrom(std::string const& text) {
    ListOwner<unsigned int> const list(PARSER.StringToList(text));
    return bytesOf(*list);
}

std::string extract(Bytes const& bytes, unsigned int start, unsigned int length, bool skipZeros) {
    return PARSER.ExtractString(listOf(bytes).get(), start, length, skipZeros);
}

} // namespace

TEST(HexParserStringToList, TakesBothCasesOfDigits) {
    EXPECT_THAT(listFrom("0a 1B"), ElementsAre(10, 27));
    EXPECT_THAT(listFrom("FF ff Ff"), ElementsAre(255, 255, 255));
}

TEST(HexParserStringToList, TwoBlanksInARowMakeAZero) {
    EXPECT_THAT(listFrom("0a  1B"), ElementsAre(10, 0, 27));
}

TEST(HexParserStringToList, ALeadingBlankMakesAZero) {
    EXPECT_THAT(listFrom(" 0a"), ElementsAre(0, 10));
    EXPECT_THAT(listFrom(" "), ElementsAre(0));
}

TEST(HexParserStringToList, ABlankAtTheVeryEndMakesNothing) {
    EXPECT_THAT(listFrom("0a "), ElementsAre(10));
    EXPECT_THAT(listFrom("0a  "), ElementsAre(10, 0));
}

TEST(HexParserStringToList, AnEmptyTextIsAnEmptyList) {
    EXPECT_THAT(listFrom(""), IsEmpty());
}

TEST(HexParserStringToList, OtherWhiteSpaceSeparatesNothing) {
    EXPECT_THAT(listFrom("0a\n1B"), ElementsAre(10));
    EXPECT_THAT(listFrom("0a\t1B 2"), ElementsAre(10, 2));
}

TEST(HexParserStringToList, WhatIsNoNumberIsZeroOrItsLeadingDigits) {
    EXPECT_THAT(listFrom("xyz 1g -1 0x10 +2"), ElementsAre(0, 1, 0, 0, 0));
}

TEST(HexParserStringToList, AnElementMayBeLargerThanAByte) {
    EXPECT_THAT(listFrom("100 12345678 FFFFFFFF 0000000000000001"),
                ElementsAre(0x100, 0x12345678, 0xFFFFFFFF, 1));
}

TEST(HexParserStringToList, ANumberBeyond32BitsEndsAtTheLargestOnEveryMachine) {
    std::string const digits40(40, '1');
    EXPECT_THAT(listFrom("FFFFFFFF 100000000 123456789A FFFFFFFF00000001 " + digits40),
                ElementsAre(4294967295, 4294967295, 4294967295, 4294967295, 4294967295));
}

TEST(HexParserStringToList, LeadingZerosDoNotCount) {
    EXPECT_THAT(listFrom(std::string(40, '0') + "12345678"), ElementsAre(0x12345678));
}

TEST(HexParserExtractString, TakesTheBytesOfTheRange) {
    EXPECT_EQ(extract({'a', 'b', 'c', 'd'}, 1, 2, true), "bc");
    EXPECT_EQ(extract({'a', 'b', 'c', 'd'}, 0, 4, false), "abcd");
}

TEST(HexParserExtractString, ALengthOf0IsEmptyWhereverItStarts) {
    EXPECT_EQ(extract({'a'}, 0, 0, true), "");
    EXPECT_EQ(extract({'a'}, 99, 0, false), "");
}

TEST(HexParserExtractString, DropsZerosAndGoesOnOnlyIfAskedTo) {
    EXPECT_EQ(extract({'a', 0, 'b', 0}, 0, 4, true), "ab");
    EXPECT_EQ(extract({'a', 0, 'b', 0}, 0, 4, false), std::string("a\0b\0", 4));
}

TEST(HexParserExtractString, TurnsLatin1IntoUtf8) {
    EXPECT_EQ(extract({0x4A, 0x6F, 0x73, 0xE9}, 0, 4, true), "Jos\xC3\xA9");
    EXPECT_EQ(extract({0x7F, 0x80, 0xFF}, 0, 3, true), "\x7F\xC2\x80\xC3\xBF");
}

TEST(HexParserExtractString, CutsElementsTo8Bits) {
    EXPECT_EQ(extract({0x141, 0xFFFFFF42}, 0, 2, true), "AB");
    EXPECT_EQ(extract({0x100}, 0, 1, true), "");
}

TEST(HexParserExtractString, RefusesARangeThatLeavesTheList) {
    for (unsigned int const start : {1U, 2U, 3U, 0xFFFFFFFFU}) {
        auto const thrown = thrownBy([&] { extract({'a', 'b'}, start, 2, true); });
        ASSERT_TRUE(thrown);
        EXPECT_EQ(thrown->ExCode(), CTagException::ExBadIndex);
        EXPECT_EQ(thrown->Message(), "Index greater than list count");
    }
    EXPECT_TRUE(thrownBy([] { extract({'a', 'b'}, 0, 0xFFFFFFFF, true); }));
}

TEST(HexParserExtractString, LeavesTheListAsItIs) {
    ListOwner<unsigned int> const list = listOf({'a', 0, 'b'});
    PARSER.ExtractString(list.get(), 0, 3, true);
    EXPECT_THAT(bytesOf(*list), ElementsAre('a', 0, 'b'));
}

TEST(HexParser, FormattedNowIsThePresentInUtc) {
    constexpr std::time_t MOMENT = 1267463109;
    FixedClock const clock(MOMENT);
    TimeZone const zone("EAST-9");
    EXPECT_EQ(PARSER.FormattedNow(), "2010-03-01T17:05:09Z");
}

TEST(HexParser, FormattedNowGoesOnAfterTheLastSecondOf32Bits) {
    FixedClock const clock(std::time_t{2208988800}); // beyond 2^31
    EXPECT_EQ(PARSER.FormattedNow(), "2040-01-01T00:00:00Z");
}

TEST(HexParser, WhateverIsThrownWhileDecodingIsTheOneFailure) {
    std::pair<char const*, std::function<void()>> const kinds[] = {
        {"a standard exception", [] { throw std::runtime_error("no room"); }},
        {"a number", [] { throw 7; }},
        {"a CTagException by value",
         [] { throw CTagException(CTagException::ExUnhandled, "by value", 7); }},
        {"a CTagException",
         [] { throwTagException(CTagException::ExUnhandled, "another one", 7); }},
    };
    for (auto const& [kind, fail] : kinds) {
        {
            LogFault const fault("All Starts Found", fail);
            EXPECT_TRUE(isMalformedSingle(singleStream({{Name, "Song"}}))) << kind;
        }
        LogFault const fault("Storing Tag", fail);
        EXPECT_TRUE(isMalformedAmbig(ambiguousStream({{{Name, "Song"}}, "0"}, {{}, "1"}))) << kind;
    }
}
