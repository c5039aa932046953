// Lengths as large as 32 bits allow. Added up in 32 bits they would wrap, and a field that lies far
// behind the end of the stream would seem to lie within it.
#include "Decoding.h"
#include "support/LogFile.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>

using testing::Contains;

namespace {

constexpr unsigned int WIDEST = std::numeric_limits<unsigned int>::max();
constexpr unsigned int WIDE = 1000000; // far behind the end as well, and no sum of these wraps

/** A stream of every field, with one of its lengths put in place of the true one. */
Bytes withLength(Bytes stream, std::size_t lengthsAt, std::size_t field, unsigned int length) {
    stream[lengthsAt + field] = length;
    return stream;
}

Fields everyField() {
    Fields fields;
    for (std::size_t field = 0; field < FieldCount; ++field) {
        fields[static_cast<Field>(field)] = "7";
    }
    return fields;
}

/** What a decoder makes of a stream: its values, or nothing if it is malformed. */
std::vector<Values> single(Bytes const& stream) {
    std::vector<Values> decoded;
    thrownBy([&] { decoded.push_back(valuesOf(*decodeSingle(stream))); });
    return decoded;
}

std::vector<DecodedCandidate> ambiguous(Bytes const& stream) {
    std::vector<DecodedCandidate> decoded;
    thrownBy([&] { decoded = candidatesOf(stream); });
    return decoded;
}

} // namespace

TEST(HexParserWideLengths, AreNowhereTakenForBytesThatAreThere) {
    Bytes const one = singleStream(everyField());
    Bytes const two = ambiguousStream({everyField(), "1"}, {everyField(), "0"});
    for (std::size_t field = 0; field < FieldCount; ++field) {
        for (unsigned int const less : {0U, 1U, 7U, 15U, 31U}) {
            unsigned int const wide = WIDEST - less;
            EXPECT_EQ(single(withLength(one, 1, field, wide)),
                      single(withLength(one, 1, field, WIDE)))
                << field << " of " << wide;
            for (std::size_t const lengthsAt : {1U, 16U}) {
                EXPECT_EQ(ambiguous(withLength(two, lengthsAt, field, wide)),
                          ambiguous(withLength(two, lengthsAt, field, WIDE)))
                    << field << " of " << wide << " at " << lengthsAt;
            }
        }
    }
}

TEST(HexParserWideLengths, MayAddUpToWhereTheStreamBegins) {
    constexpr unsigned int HALF = 0x80000000;
    Bytes stream = singleStream({{StationFrequency, "95.5"}});
    stream[1 + Artist] = HALF;
    stream[1 + Album] = HALF;
    EXPECT_TRUE(isMalformedSingle(stream));
}

TEST(HexParserWideLengths, AreLoggedWithTheirTrueSum) {
    LogFile const log;
    Bytes stream = singleStream({});
    stream[1 + Name] = WIDEST;
    stream[1 + Artist] = WIDEST;
    EXPECT_TRUE(isMalformedSingle(stream));
    EXPECT_THAT(log.messagesOf("CHexParser_ParseSingle"), Contains("Album: 8589934606 - 0"));
}

TEST(HexParserWideLengths, OfARangeLeaveTheList) {
    CHexParser const parser(0, false);
    auto const list = listOf({'a', 'b', 'c'});
    for (unsigned int const start : {0U, 1U, 2U, 3U}) {
        EXPECT_TRUE(thrownBy([&] { parser.ExtractString(list.get(), start, WIDEST, true); }))
            << start;
    }
}
