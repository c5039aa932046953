#include "service/SampleStreams.h"

#include "Decoding.h"

#include <gmock/gmock.h>

#include <cctype>

namespace {

struct Sample {
    std::size_t size;
    std::string frame;                  ///< form byte and length blocks
    std::vector<DecodedCandidate> tags; ///< a single tag's button is the stream's, not decoded
};

std::vector<Sample> const SAMPLES = {
    {111,
     "00 14 1B 22 00 01 00 00 07 00 01 00 00 00 04 01",
     {
         {onlyThese({{Name, "Lanterns on the Quay"},
                     {Artist, "Marguerite Vale & the Tides"},
                     {Album, "Harbour Songs for a Patient Winter"},
                     {ProgramNumber, "1"},
                     {CallLetters, "QLTN-FM"},
                     {PodcastFeedURL, "0"},
                     {StationFrequency, "95.5"}}),
          1},
     }},
    {56,
     "00 0C 0C 01 01 01 00 00 07 00 01 00 00 00 04 01",
     {
         {onlyThese({{Name, "Copper River"},
                     {Artist, "Ottoline Day"},
                     {Album, " "},
                     {Genre, " "},
                     {ProgramNumber, "1"},
                     {CallLetters, "QRDO-FM"},
                     {PodcastFeedURL, "0"},
                     {StationFrequency, "88.9"}}),
          1},
     }},
    {70,
     "00 17 0F 01 01 01 00 00 07 00 01 00 00 00 04 01",
     {
         {onlyThese({{Name, "The Long Way to Sunrise"},
                     {Artist, "Jos\xC3\xA9 Villamar\xC3\xADn"},
                     {Album, " "},
                     {Genre, " "},
                     {ProgramNumber, "1"},
                     {CallLetters, "QSOL-FM"},
                     {PodcastFeedURL, "0"},
                     {StationFrequency, "97.3"}}),
          1},
     }},
    {78,
     "00 0E 05 00 00 01 09 06 07 00 01 00 0E 00 04 01",
     {
         {onlyThese({{Name, "Midnight Ferry"},
                     {Artist, "Ilsen"},
                     {ProgramNumber, "1"},
                     {SongId, "418273956"},
                     {StorefrontId, "143411"},
                     {CallLetters, "QBAY-FM"},
                     {PodcastFeedURL, "0"},
                     {AffiliateId, "AFF-0000482-QL"},
                     {StationFrequency, "99.1"}}),
          1},
     }},
    {152,
     "01 0A 1B 00 00 01 00 06 07 00 01 12 0E 00 04 01 0D 05 00 00 01 00 00 07 00 01 00 00 00 "
     "04 01",
     {
         {onlyThese({{Name, "Glass Rain"},
                     {Artist, "Marguerite Vale & the Tides"},
                     {ProgramNumber, "1"},
                     {StorefrontId, "143411"},
                     {CallLetters, "QLTN-FM"},
                     {PodcastFeedURL, "0"},
                     {StationURL, "http://qln.example"},
                     {AffiliateId, "AFF-0000482-QL"},
                     {StationFrequency, "95.5"}}),
          1},
         {onlyThese({{Name, "Second Spring"},
                     {Artist, "Ilsen"},
                     {ProgramNumber, "1"},
                     {CallLetters, "QLTN-FM"},
                     {PodcastFeedURL, "0"},
                     {StationFrequency, "95.5"}}),
          0},
     }},
    {140,
     "01 0B 05 00 00 01 09 06 07 00 01 12 0E 00 04 01 0D 05 00 00 01 00 00 07 00 01 00 00 00 "
     "04 01",
     {
         {onlyThese({{Name, "Tide Tables"},
                     {Artist, "Arvid"},
                     {ProgramNumber, "1"},
                     {SongId, "529104773"},
                     {StorefrontId, "143411"},
                     {CallLetters, "QRDO-FM"},
                     {PodcastFeedURL, "0"},
                     {StationURL, "http://qrd.example"},
                     {AffiliateId, "AFF-0000519-QR"},
                     {StationFrequency, "88.9"}}),
          0},
         {onlyThese({{Name, "Empty Theatre"},
                     {Artist, "Mirek"},
                     {ProgramNumber, "1"},
                     {CallLetters, "QRDO-FM"},
                     {PodcastFeedURL, "0"},
                     {StationFrequency, "88.9"}}),
          1},
     }},
    {144,
     "01 10 04 00 00 01 09 06 07 00 01 12 0E 00 04 01 0D 05 00 00 01 00 00 07 00 01 00 00 00 "
     "04 01",
     {
         {onlyThese({{Name, "Northern Kitchen"},
                     {Artist, "Runa"},
                     {ProgramNumber, "1"},
                     {SongId, "630285417"},
                     {StorefrontId, "143411"},
                     {CallLetters, "QBAY-FM"},
                     {PodcastFeedURL, "0"},
                     {StationURL, "http://qby.example"},
                     {AffiliateId, "AFF-0000482-QL"},
                     {StationFrequency, "99.1"}}),
          1},
         {onlyThese({{Name, "Walking Songs"},
                     {Artist, "Dario"},
                     {ProgramNumber, "1"},
                     {CallLetters, "QBAY-FM"},
                     {PodcastFeedURL, "0"},
                     {StationFrequency, "99.1"}}),
          0},
     }},
};

Bytes bytesOfText(std::string const& text) {
    ListOwner<unsigned int> const list(CHexParser(0, false).StringToList(text));
    return bytesOf(*list);
}

} // namespace

class SampleStreams : public testing::TestWithParam<std::size_t> {
protected:
    std::string const mText = sampleStreams()[GetParam()];
    Bytes const mStream = bytesOfText(mText);
    Sample const& mExpected = SAMPLES[GetParam()];
};

TEST_P(SampleStreams, HasItsFrameAndItsLength) {
    EXPECT_EQ(mStream.size(), mExpected.size);
    EXPECT_EQ(mText.substr(0, mExpected.frame.size()), mExpected.frame);
}

TEST_P(SampleStreams, IsWrittenInPairsOfUpperCaseDigitsWithOneBlankBetween) {
    ASSERT_EQ(mText.size(), mStream.size() * 3 - 1);
    for (std::size_t at = 0; at < mText.size(); ++at) {
        bool const isGap = at % 3 == 2;
        EXPECT_EQ(mText[at] == ' ', isGap) << at;
        EXPECT_TRUE(isGap || (std::isxdigit(mText[at]) != 0 && std::islower(mText[at]) == 0)) << at;
    }
}

TEST_P(SampleStreams, DecodesToItsTags) {
    if (mStream.front() == 0) {
        ASSERT_EQ(mExpected.tags.size(), 1U);
        EXPECT_EQ(valuesOf(*decodeSingle(mStream)), mExpected.tags[0].values);
    } else {
        EXPECT_EQ(candidatesOf(mStream), mExpected.tags);
    }
}

TEST_P(SampleStreams, EndsWithTheButtonOfItsLastTag) {
    EXPECT_EQ(mStream.back(), static_cast<unsigned int>('0' + mExpected.tags.back().button));
}

INSTANTIATE_TEST_SUITE_P(All, SampleStreams, testing::Range<std::size_t>(0, SAMPLE_STREAM_COUNT));
