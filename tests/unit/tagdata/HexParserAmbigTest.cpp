#include "Decoding.h"
#include "support/LogFile.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

constexpr char LOG_SOURCE[] = "CHexParser_ParseSingle";

Candidate const EMPTY = {{}, "0"};

/** A stream whose second candidate is this one. */
Bytes endingWith(Fields const& fields, std::string const& button = "1") {
    return ambiguousStream(EMPTY, {fields, button});
}

/** What is left if the second candidate's button and so many bytes before it are missing. */
Bytes withoutButtonAnd(std::size_t missing, Bytes const& stream) {
    return prefix(stream, stream.size() - 1 - missing);
}

} // namespace

TEST(HexParserAmbig, FillsBothCandidatesInTheirOrder) {
    Fields const first = {
        {Name, "Glass Rain"},     {Artist, "Ilsen"},         {Album, "Low Water"},
        {Genre, "Folk"},          {ProgramNumber, "2"},      {SongId, "418273956"},
        {StorefrontId, "143411"}, {CallLetters, "QLTN-FM"},  {TimeStamp, "2010-03-01"},
        {PodcastFeedURL, "0"},    {StationURL, "http://q"},  {AffiliateId, "AFF"},
        {UnknownData, "Man"},     {StationFrequency, "95.5"}};
    Fields const second = {{Name, "Second Spring"}, {StationFrequency, "95.5"}};
    Values expected = onlyThese(first);
    expected[UnknownData] = "TWFu";

    EXPECT_THAT(candidatesOf(ambiguousStream({first, "1"}, {second, "0"})),
                ElementsAre(DecodedCandidate{expected, 1}, DecodedCandidate{onlyThese(second), 0}));
}

TEST(HexParserAmbig, NeitherCandidateIsNew) {
    ListOwner<CAmbigTag> const candidates = decodeAmbig(ambiguousStream(EMPTY, EMPTY));
    for (CAmbigTag const* const candidate : *candidates) {
        EXPECT_FALSE(candidate->NewTagFlag());
    }
}

TEST(HexParserAmbig, TwoAllZeroBlocksAndTwoDigitsAreTwoEmptyCandidates) {
    Bytes stream(33, 0);
    stream[31] = '1';
    stream[32] = '0';

    EXPECT_THAT(candidatesOf(stream), ElementsAre(DecodedCandidate{onlyThese({}), 1},
                                                  DecodedCandidate{onlyThese({}), 0}));
}

TEST(HexParserAmbig, TheLayoutOfTheTwoBlocks) {
    Bytes stream = {1, 5, 3, 0, 0, 1, 0, 0, 7, 0, 1, 0, 0, 0, 4, 1,
                    4, 3, 0, 0, 1, 0, 0, 7, 0, 1, 0, 0, 0, 4, 1};
    append(stream, "HelloYou1ABCD-FM095.5");
    ASSERT_EQ(stream.size(), 52U);
    append(stream, "1FernMe!2ABCD-FM095.70");
    ASSERT_EQ(stream.size(), 74U);

    std::vector<DecodedCandidate> const candidates = candidatesOf(stream);

    EXPECT_EQ(candidates[0].values[Name], "Hello");
    EXPECT_EQ(candidates[0].button, 1);
    EXPECT_EQ(candidates[1].values[Name], "Fern");
    EXPECT_EQ(candidates[1].values[StationFrequency], "95.7");
    EXPECT_EQ(candidates[1].button, 0);
}

TEST(HexParserAmbig, EveryButtonDigitIsItsNumber) {
    for (int digit = 0; digit <= 9; ++digit) {
        EXPECT_EQ(candidatesOf(endingWith({}, std::to_string(digit)))[1].button, digit);
    }
}

TEST(HexParserAmbig, AButtonByteThatHoldsNoNumberIsMalformed) {
    for (std::string const& button : {std::string(1, '\0'), std::string(" "), std::string("-"),
                                      std::string("x"), std::string("\xE9")}) {
        EXPECT_TRUE(isMalformedAmbig(endingWith({}, button)));
        EXPECT_TRUE(isMalformedAmbig(ambiguousStream({{}, button}, EMPTY)));
    }
}

TEST(HexParserAmbig, AMissingButtonIsMalformed) {
    EXPECT_TRUE(isMalformedAmbig(withoutButtonAnd(0, endingWith({{Name, "Song"}}))));
}

TEST(HexParserAmbig, TheButtonIsOneByteWhateverItsLengthSays) {
    for (unsigned int const length : {0U, 1U, 2U, 255U}) {
        EXPECT_THAT(candidatesOf(ambiguousStream({{{Name, "One"}}, "0", length},
                                                 {{{Name, "Two"}}, "1", length})),
                    ElementsAre(DecodedCandidate{onlyThese({{Name, "One"}}), 0},
                                DecodedCandidate{onlyThese({{Name, "Two"}}), 1}));
    }
}

TEST(HexParserAmbig, TheFormByteHasNoInfluence) {
    Bytes stream = endingWith({{Name, "Song"}});
    stream[0] = 0;
    EXPECT_EQ(candidatesOf(stream)[1].values, onlyThese({{Name, "Song"}}));
}

TEST(HexParserAmbig, TrailingBytesChangeNothing) {
    Bytes stream = endingWith({{Name, "Song"}});
    append(stream, "a third candidate");
    EXPECT_EQ(candidatesOf(stream).size(), 2U);
}

TEST(HexParserAmbig, AListTooShortForTheLengthsIsMalformed) {
    for (std::size_t size = 0; size <= 32; ++size) {
        EXPECT_TRUE(isMalformedAmbig(Bytes(size, 0))) << size;
    }
}

TEST(HexParserAmbig, AFailureInTheSecondCandidateLosesTheFirst) {
    Bytes const stream = ambiguousStream({{{Name, "Whole"}}, "0"}, {{{Name, "Cut"}}, "1"});
    EXPECT_TRUE(isMalformedAmbig(prefix(stream, stream.size() - 2)));
}

TEST(HexParserAmbig, AStreamCutOffInTheSecondStationURLIsMalformed) {
    EXPECT_TRUE(
        isMalformedAmbig(withoutButtonAnd(3, endingWith({{StationURL, "http://qrd.example"}}))));
}

class HexParserAmbigPlainFields : public testing::TestWithParam<Field> {};

TEST_P(HexParserAmbigPlainFields, AreTakenWholeOrNotAtAll) {
    Fields const fields = {{GetParam(), "12"}};
    Values expected = onlyThese(fields);
    if (GetParam() == UnknownData) {
        expected[UnknownData] = "MTI=";
    }

    EXPECT_EQ(candidatesOf(endingWith(fields))[1].values, expected);
    EXPECT_TRUE(isMalformedAmbig(withoutButtonAnd(1, endingWith(fields))));
    EXPECT_TRUE(isMalformedAmbig(withoutButtonAnd(2, endingWith(fields))));
}

INSTANTIATE_TEST_SUITE_P(Fields, HexParserAmbigPlainFields,
                         testing::Values(Name, Artist, Album, Genre, ProgramNumber, SongId,
                                         StorefrontId, TimeStamp, PodcastFeedURL, StationURL,
                                         AffiliateId, UnknownData, StationFrequency));

// A second candidate that is cut off has lost its button too, so that nothing but the log tells
// which field failed. Each line "Parsing ..." stands for the decoder having come so far.
class HexParserAmbigBounds : public testing::Test {
protected:
    /** The field that the decoder was at when it gave up on the second candidate. */
    std::string failedAt(Bytes const& stream) const {
        mLog.clear();
        EXPECT_TRUE(isMalformedAmbig(stream));
        return mLog.messagesOf(LOG_SOURCE).back();
    }

    LogFile mLog;
};

TEST_F(HexParserAmbigBounds, ATruncatedArtistFailsAtOnceUnlikeInASingleTag) {
    Bytes const stream = endingWith({{Name, "Song"}, {Artist, "Artist"}});
    EXPECT_EQ(failedAt(withoutButtonAnd(0, stream)), "Parsing Button Pressed");
    EXPECT_EQ(failedAt(withoutButtonAnd(1, stream)), "Parsing Artist");
}

TEST_F(HexParserAmbigBounds, ATruncatedProgramNumberFails) {
    Bytes const stream = endingWith({{ProgramNumber, "42"}});
    EXPECT_EQ(failedAt(withoutButtonAnd(0, stream)), "Parsing Button Pressed");
    EXPECT_EQ(failedAt(withoutButtonAnd(1, stream)), "Parsing Program Number");
}

TEST_F(HexParserAmbigBounds, ATruncatedFrequencyFailsUnlikeInASingleTag) {
    Bytes const stream = endingWith({{StationFrequency, "95.5"}});
    EXPECT_EQ(failedAt(withoutButtonAnd(0, stream)), "Parsing Button Pressed");
    EXPECT_EQ(failedAt(withoutButtonAnd(1, stream)), "Parsing Station Frequency");
}

TEST_F(HexParserAmbigBounds, TruncatedCallLettersFailIfThereIsAName) {
    Bytes const stream = endingWith({{Name, "Song"}, {CallLetters, "QLTN-FM"}});
    EXPECT_EQ(failedAt(withoutButtonAnd(0, stream)), "Parsing Button Pressed");
    EXPECT_EQ(failedAt(withoutButtonAnd(1, stream)), "Parsing Station Call Letters");
}

TEST_F(HexParserAmbigBounds, TruncatedCallLettersWithoutANameAreNoFailure) {
    Bytes const stream = endingWith({{CallLetters, "QLTN-FM"}});
    EXPECT_EQ(failedAt(withoutButtonAnd(0, stream)), "Parsing Button Pressed");
    EXPECT_EQ(failedAt(withoutButtonAnd(1, stream)), "Parsing Button Pressed");
    EXPECT_EQ(failedAt(withoutButtonAnd(7, stream)), "Parsing Button Pressed");
}

TEST_F(HexParserAmbigBounds, CallLettersOfLength0AreNoFailure) {
    Bytes const stream = endingWith({{Name, "Song"}, {Genre, "Folk"}});
    EXPECT_EQ(failedAt(withoutButtonAnd(0, stream)), "Parsing Button Pressed");
}

TEST_F(HexParserAmbigBounds, ATruncatedStationURLFails) {
    EXPECT_EQ(failedAt(withoutButtonAnd(1, endingWith({{StationURL, "http://q"}}))),
              "Parsing Station URL");
}

TEST_F(HexParserAmbigBounds, LogsUnderTheNameOfTheSingleDecoder) {
    decodeAmbig(ambiguousStream(EMPTY, EMPTY));
    EXPECT_EQ(mLog.lines().size(), mLog.messagesOf(LOG_SOURCE).size());
    EXPECT_EQ(mLog.lines().front(), "Message: CHexParser_ParseSingle: Starting");
}

TEST(HexParserAmbig, LogsEveryFieldOfBothPasses) {
    LogFile const log;
    decodeAmbig(ambiguousStream({{{Name, "Song"}, {SongId, "12"}}, "0"}, {{{Name, "Me"}}, "1"}));

    EXPECT_THAT(
        log.messagesOf(LOG_SOURCE),
        ElementsAre(
            "Starting", "All Lengths Found", "All Starts Found", "Name: 31 - 4", "Artist: 35 - 0",
            "Album: 35 - 0", "Genre: 35 - 0", "ProgramNumber: 35 - 0", "iTunesSongId: 35 - 2",
            "iTunesStorefrontId: 37 - 0", "StationCallLetters: 37 - 0", "TimeStamp: 37 - 0",
            "PodcastFeedURL: 37 - 0", "StationURL: 37 - 0", "iTunesAffiliateId: 37 - 0",
            "UnknownData: 37 - 0", "StationFrequency: 37 - 0", "ButtonPressed: 37", "Parsing Name",
            "Parsing Artist", "Parsing Album", "Parsing Genre", "Parsing Program Number",
            "Parsing iTunes Song ID", "Parsing iTunes Storefront ID",
            "Parsing Station Call Letters", "Parsing Time Stamp", "Parsing Podcast Feed URL",
            "Parsing Station URL", "Parsing iTunes Affiliate ID", "Parsing Unknown Data",
            "Parsing Station Frequency", "Parsing Button Pressed", "Storing Tag",
            "All Lengths Found", "All Starts Found", "Name: 38 - 2", "Artist: 40 - 0",
            "Album: 40 - 0", "Genre: 40 - 0", "ProgramNumber: 40 - 0", "iTunesSongId: 40 - 0",
            "iTunesStorefrontId: 40 - 0", "StationCallLetters: 40 - 0", "TimeStamp: 40 - 0",
            "PodcastFeedURL: 40 - 0", "StationURL: 40 - 0", "iTunesAffiliateId: 40 - 0",
            "UnknownData: 40 - 0", "StationFrequency: 40 - 0", "ButtonPressed: 40", "Parsing Name",
            "Parsing Artist", "Parsing Album", "Parsing Genre", "Parsing Program Number",
            "Parsing iTunes Song ID", "Parsing iTunes Storefront ID",
            "Parsing Station Call Letters", "Parsing Time Stamp", "Parsing Podcast Feed URL",
            "Parsing Station URL", "Parsing iTunes Affiliate ID", "Parsing Unknown Data",
            "Parsing Station Frequency", "Parsing Button Pressed", "Storing Tag", "Finishing"));
}

TEST(HexParserAmbig, LeavesTheListAsItIs) {
    Bytes const stream = endingWith({{Name, "Song"}});
    ListOwner<unsigned int> const list = listOf(stream);

    ListOwner<CAmbigTag> const candidates(CHexParser(0, false).ParseAmbig(list.get()));

    EXPECT_EQ(bytesOf(*list), stream);
}
