#include "Decoding.h"
#include "support/LogFile.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char LOG_SOURCE[] = "CHexParser_ParseSingle";

Bytes cut(Bytes const& stream, std::size_t missing) {
    return prefix(stream, stream.size() - missing);
}

} // namespace

TEST(HexParserSingle, FillsEveryField) {
    Fields const fields = {{Name, "Copper River"},
                           {Artist, "Ottoline Day"},
                           {Album, "Low Water"},
                           {Genre, "Folk"},
                           {ProgramNumber, "2"},
                           {SongId, "418273956"},
                           {StorefrontId, "143411"},
                           {CallLetters, "QRDO-FM"},
                           {TimeStamp, "2010-03-01T17:05:09Z"},
                           {PodcastFeedURL, "0"},
                           {StationURL, "http://qrd.example"},
                           {AffiliateId, "AFF-0000519-QR"},
                           {UnknownData, "Man"},
                           {StationFrequency, "88.9"}};
    Values expected = onlyThese(fields);
    expected[UnknownData] = "TWFu";

    std::unique_ptr<CTag> const tag = decodeSingle(singleStream(fields));

    EXPECT_EQ(valuesOf(*tag), expected);
    EXPECT_FALSE(tag->NewTagFlag());
}

TEST(HexParserSingle, AnAllZeroLengthBlockIsAnEmptyTag) {
    EXPECT_EQ(valuesOf(*decodeSingle(Bytes(16, 0))), onlyThese({}));
}

TEST(HexParserSingle, FifteenBytesAreEnoughForTheLengths) {
    EXPECT_EQ(valuesOf(*decodeSingle(Bytes(15, 0))), onlyThese({}));
}

TEST(HexParserSingle, AListTooShortForTheLengthsIsMalformed) {
    for (std::size_t size = 0; size < 15; ++size) {
        EXPECT_TRUE(isMalformedSingle(Bytes(size, 0))) << size;
    }
}

TEST(HexParserSingle, TrailingBytesChangeNothing) {
    Fields const fields = {{Name, "Song"}, {StationFrequency, "95.5"}};
    Bytes stream = singleStream(fields);
    append(stream, "anything");

    EXPECT_EQ(valuesOf(*decodeSingle(stream)), onlyThese(fields));
}

TEST(HexParserSingle, TheFormByteIsNotLookedAt) {
    Bytes stream = singleStream({{Name, "Song"}});
    stream[0] = 1;

    EXPECT_EQ(valuesOf(*decodeSingle(stream)), onlyThese({{Name, "Song"}}));
}

TEST(HexParserSingle, TheButtonHasNoInfluence) {
    Fields const fields = {{Name, "Song"}};
    for (unsigned int const buttonLength : {0U, 1U, 200U}) {
        EXPECT_EQ(valuesOf(*decodeSingle(singleStream(fields, buttonLength))), onlyThese(fields));
    }
}

TEST(HexParserSingle, AStreamCutOffInTheMiddleOfAlbumIsMalformed) {
    EXPECT_TRUE(isMalformedSingle(cut(singleStream({{Name, "Song"}, {Album, "Album"}}), 2)));
}

class HexParserSinglePlainFields : public testing::TestWithParam<Field> {};

TEST_P(HexParserSinglePlainFields, AreTakenWholeOrNotAtAll) {
    Fields const fields = {{GetParam(), "12"}};
    Bytes const stream = singleStream(fields);
    Values expected = onlyThese(fields);
    if (GetParam() == UnknownData) {
        expected[UnknownData] = "MTI=";
    }

    EXPECT_EQ(valuesOf(*decodeSingle(stream)), expected);
    EXPECT_TRUE(isMalformedSingle(cut(stream, 1)));
    EXPECT_TRUE(isMalformedSingle(cut(stream, 2)));
}

INSTANTIATE_TEST_SUITE_P(Fields, HexParserSinglePlainFields,
                         testing::Values(Name, Album, Genre, SongId, StorefrontId, CallLetters,
                                         TimeStamp, PodcastFeedURL, StationURL, AffiliateId,
                                         UnknownData));

TEST(HexParserSingle, AWholeArtistIsTaken) {
    Fields const fields = {{Name, "Song"}, {Artist, "Artist"}};
    EXPECT_EQ(valuesOf(*decodeSingle(singleStream(fields))), onlyThese(fields));
}

TEST(HexParserSingle, ATruncatedArtistIsEmptyAndNoFailure) {
    Bytes const stream = singleStream({{Name, "Song"}, {Artist, "Artist"}});
    for (std::size_t missing = 1; missing <= 6; ++missing) {
        EXPECT_EQ(valuesOf(*decodeSingle(cut(stream, missing))), onlyThese({{Name, "Song"}}))
            << missing;
    }
}

TEST(HexParserSingle, ATruncatedArtistWithoutANameIsEmptyToo) {
    EXPECT_EQ(valuesOf(*decodeSingle(cut(singleStream({{Artist, "Artist"}}), 3))), onlyThese({}));
}

TEST(HexParserSingle, ATruncatedArtistWithALaterFieldIsMalformed) {
    Bytes const stream = singleStream({{Name, "Song"}, {Artist, "Artist"}, {TimeStamp, "now"}});
    EXPECT_TRUE(isMalformedSingle(cut(stream, 4)));
}

TEST(HexParserSingle, ATruncatedArtistWithALaterFrequencyLeavesBothEmpty) {
    Bytes const stream =
        singleStream({{Name, "Song"}, {Artist, "Artist"}, {StationFrequency, "95.5"}});
    EXPECT_EQ(valuesOf(*decodeSingle(cut(stream, 5))), onlyThese({{Name, "Song"}}));
}

TEST(HexParserSingle, ATruncatedNameIsMalformedEvenWithAnArtist) {
    Bytes const stream = singleStream({{Name, "Song"}, {Artist, "Artist"}});
    EXPECT_TRUE(isMalformedSingle(cut(stream, 7)));
}

TEST(HexParserSingle, AProgramNumberIsTakenIfItIsWhole) {
    EXPECT_EQ(decodeSingle(singleStream({{ProgramNumber, "42"}}))->ProgramNumber(), 42);
}

TEST(HexParserSingle, AProgramNumberThatRunsPastTheEndIsMalformed) {
    // Its bound is its start, so the bytes themselves give out.
    EXPECT_TRUE(isMalformedSingle(cut(singleStream({{ProgramNumber, "42"}}), 1)));
}

TEST(HexParserSingle, AListThatEndsWhereTheProgramNumberStartsIsMalformed) {
    EXPECT_TRUE(isMalformedSingle(cut(singleStream({{Name, "Song"}, {ProgramNumber, "42"}}), 2)));
}

TEST(HexParserSingle, AListThatEndsBeforeTheProgramNumberStartsIsMalformed) {
    // Nothing but Artist, which fails nowhere, lies before it.
    EXPECT_TRUE(isMalformedSingle(cut(singleStream({{Artist, "A"}, {ProgramNumber, "42"}}), 3)));
}

TEST(HexParserSingle, ProgramNumberBytesThatHoldNoNumberAreMalformed) {
    EXPECT_TRUE(isMalformedSingle(singleStream({{ProgramNumber, "one"}})));
    EXPECT_TRUE(isMalformedSingle(singleStream({{ProgramNumber, std::string(1, '\0')}})));
    EXPECT_TRUE(isMalformedSingle(singleStream({{ProgramNumber, "99999999999"}})));
}

TEST(HexParserSingle, StorefrontBytesThatHoldNoNumberAreMalformed) {
    EXPECT_TRUE(isMalformedSingle(singleStream({{StorefrontId, "x"}})));
}

TEST(HexParserSingle, AWholeFrequencyIsTaken) {
    EXPECT_EQ(decodeSingle(singleStream({{StationFrequency, "95.5"}}))->StationFrequency(), "95.5");
}

TEST(HexParserSingle, ATruncatedFrequencyIsEmptyAndNoFailure) {
    Bytes const stream = singleStream({{Name, "Song"}, {StationFrequency, "95.5"}});
    for (std::size_t missing = 1; missing <= 4; ++missing) {
        EXPECT_EQ(valuesOf(*decodeSingle(cut(stream, missing))), onlyThese({{Name, "Song"}}))
            << missing;
    }
}

TEST(HexParserSingle, AZeroInsideAFieldVanishes) {
    EXPECT_EQ(decodeSingle(singleStream({{Name, std::string("a\0b", 3)}}))->Name(), "ab");
}

TEST(HexParserSingle, UnknownDataKeepsItsZeros) {
    EXPECT_EQ(decodeSingle(singleStream({{UnknownData, std::string("a\0b", 3)}}))->UnknownData(),
              "YQBi");
}

TEST(HexParserSingle, UnknownDataIsConvertedBeforeItIsEncoded) {
    EXPECT_EQ(decodeSingle(singleStream({{UnknownData, "\xE9"}}))->UnknownData(), "w6k=");
}

TEST(HexParserSingle, TextIsLatin1) {
    EXPECT_EQ(decodeSingle(singleStream({{Name, "Jos\xE9"}}))->Name(), "Jos\xC3\xA9");
}

TEST(HexParserSingle, ABlankStaysABlank) {
    Fields const fields = {{Album, " "}, {Genre, " "}};
    EXPECT_EQ(valuesOf(*decodeSingle(singleStream(fields))), onlyThese(fields));
}

TEST(HexParserSingle, AStreamWithoutATimeStampHasNone) {
    EXPECT_EQ(decodeSingle(singleStream({{Name, "Song"}}))->TimeStamp(), "");
}

TEST(HexParserSingle, TheLongestStreamDecodes) {
    Fields fields;
    for (std::size_t field = 0; field < FieldCount; ++field) {
        fields[static_cast<Field>(field)] = std::string(255, 'x');
    }
    fields[ProgramNumber] = std::string(254, ' ') + "7";
    fields[StorefrontId] = std::string(249, '0') + "143411";

    std::unique_ptr<CTag> const tag = decodeSingle(singleStream(fields, 255));

    EXPECT_EQ(tag->ProgramNumber(), 7);
    EXPECT_EQ(tag->iTunesStorefrontID(), 143411U);
    EXPECT_EQ(tag->StationFrequency(), std::string(255, 'x'));
}

TEST(HexParserSingle, AFieldOfAMillionBytesCostsNoWalkForEach) {
    // With a walk from the front for each byte this would not end within the time of any test run.
    constexpr unsigned int MILLION = 1000000;
    Bytes stream = singleStream({});
    stream[1] = MILLION;
    stream.insert(stream.end(), MILLION, 'x');

    EXPECT_EQ(decodeSingle(stream)->Name(), std::string(MILLION, 'x'));
}

TEST(HexParserSingle, LengthsBeyondAByteAnnounceWhatIsNotThere) {
    Bytes stream = singleStream({{Name, "Song"}});
    stream[1] = 0xFFFFFFFF;
    EXPECT_TRUE(isMalformedSingle(stream));
}

TEST(HexParserSingle, LeavesTheListAsItIs) {
    Bytes const stream = singleStream({{Name, "Song"}});
    ListOwner<unsigned int> const list = listOf(stream);

    std::unique_ptr<CTag> const tag(CHexParser(0, false).ParseSingle(list.get()));

    EXPECT_EQ(bytesOf(*list), stream);
}

TEST(HexParserSingle, LogsTheLayoutAndTheSongId) {
    LogFile const log;
    Bytes const stream = {0, 5, 3, 0, 0, 1, 2, 0, 7, 0, 1, 0, 0, 0, 4, 1};
    Bytes whole = stream;
    append(whole, "HelloYou112ABCD-FM095.51");

    decodeSingle(whole);

    EXPECT_THAT(log.messagesOf(LOG_SOURCE),
                ElementsAre("Starting", "All Lengths Found", "All Starts Found", "Name: 16 - 5",
                            "Artist: 21 - 3", "Album: 24 - 0", "Genre: 24 - 0",
                            "ProgramNumber: 24 - 1", "iTunesSongId: 25 - 2",
                            "iTunesStorefrontId: 27 - 0", "StationCallLetters: 27 - 7",
                            "TimeStamp: 34 - 0", "PodcastFeedURL: 34 - 1", "StationURL: 35 - 0",
                            "iTunesAffiliateId: 35 - 0", "UnknownData: 35 - 0",
                            "StationFrequency: 35 - 4", "ButtonPressed: 39", "Parsing iTunesSongID",
                            "Temp:12", "Finishing"));
    EXPECT_EQ(log.lines().front(), "Message: CHexParser_ParseSingle: Starting");
}

TEST(HexParserSingle, LogsNothingOfASongIdThatIsNotThere) {
    LogFile const log;
    decodeSingle(Bytes(16, 0));

    EXPECT_FALSE(log.has("Message: CHexParser_ParseSingle: Parsing iTunesSongID"));
    EXPECT_FALSE(log.has("Message: CHexParser_ParseSingle: Temp:"));
}

TEST(HexParserSingle, LogsUpToTheFailureAndNothingOfIt) {
    LogFile const log;
    EXPECT_TRUE(isMalformedSingle(Bytes(14, 0)));
    EXPECT_THAT(log.messagesOf(LOG_SOURCE), ElementsAre("Starting"));

    log.clear();
    EXPECT_TRUE(isMalformedSingle({0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(log.messagesOf(LOG_SOURCE).back(), "ButtonPressed: 17");
}

TEST(HexParserSingle, StringToListLogsNothing) {
    LogFile const log;
    ListOwner<unsigned int> const list(CHexParser(0, false).StringToList("00 01"));
    EXPECT_THAT(log.lines(), IsEmpty());
}
