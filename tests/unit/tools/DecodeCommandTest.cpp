#include "support/Page.h"
#include "support/TempDir.h"
#include "unit/tools/support/CommandRun.h"

#include <sstream>

using testing::HasSubstr;
using testing::StartsWith;

namespace {

Json::Value firstTag(Outcome const& outcome) {
    return jsonOf(outcome)["tags"][0];
}

/** A Name "Me" and a ProgramNumber "1". */
constexpr char SINGLE[] = "00 02 00 00 00 01 00 00 00 00 00 00 00 00 00 01 4D 65 31 31";
constexpr char SINGLE_JSON[] = R"({"tags":[{"Artist":"","Name":"Me","ProgramNumber":1}]})"
                               "\n";

/** Two candidates "A" and "B" with these button bytes. */
std::string ambiguous(std::string const& first, std::string const& second) {
    std::string const lengths = " 01 00 00 00 00 00 00 00 00 00 00 00 00 00 01";
    return "01" + lengths + lengths + " 41 " + first + " 42 " + second;
}

/** A single tag with one field, of at most nine bytes, at this place of the length block. */
std::string withField(std::size_t place, std::string const& text) {
    constexpr std::size_t LENGTHS = 15;
    std::ostringstream stream;
    stream << "00";
    for (std::size_t at = 1; at <= LENGTHS; ++at) {
        stream << " 0" << (at == place ? text.size() : 0);
    }
    stream << std::hex << std::uppercase;
    for (char const character : text) {
        stream << " " << static_cast<int>(static_cast<unsigned char>(character));
    }
    return stream.str();
}

constexpr std::size_t PROGRAM_NUMBER = 5;
constexpr std::size_t SONG_ID = 6;
constexpr std::size_t STOREFRONT = 7;
constexpr std::size_t PODCAST = 10;

} // namespace

TEST(DecodeCommand, PrintsARequestOfOneTag) {
    EXPECT_EQ(run({"decode", "--json", SINGLE}).out, SINGLE_JSON);
}

TEST(DecodeCommand, PrintsWhatThePageOnTagStreamsShows) {
    Page const page(SONGLATCH_DOCS "/tag-stream.md");
    constexpr char HEADING[] = "A single tag, byte by byte";
    EXPECT_EQ(run({"decode", "--json", page.block(HEADING, "```")}).out,
              page.block(HEADING, "```json"));
}

TEST(DecodeCommand, PrintsARequestOfTwoTagsForAnAmbiguousStream) {
    EXPECT_EQ(run({"decode", "--json", ambiguous("31", "30")}).out,
              R"({"tags":[{"Artist":"","ButtonPressed":true,"Name":"A"},)"
              R"({"Artist":"","ButtonPressed":false,"Name":"B"}]})"
              "\n");
}

TEST(DecodeCommand, TakesAnyWhiteSpaceBetweenPairs) {
    std::string spread = "\n ";
    for (char const character : std::string(SINGLE)) {
        spread += character == ' ' ? std::string("\r\n\t \v\f") : std::string(1, character);
    }
    EXPECT_EQ(run({"decode", "--json", spread + "\n"}).out, SINGLE_JSON);
}

TEST(DecodeCommand, TakesPairsInAnyNumberOfArguments) {
    std::istringstream pairs(SINGLE);
    std::vector<std::string> words = {"decode", "--json"};
    for (std::string pair; pairs >> pair;) {
        words.push_back(pair);
    }
    EXPECT_EQ(run(words).out, SINGLE_JSON);
}

TEST(DecodeCommand, TakesPairsWithoutWhiteSpaceAndInLowerCase) {
    EXPECT_EQ(run({"decode", "--json", "000200000001000000000000000000014d653131"}).out,
              SINGLE_JSON);
}

TEST(DecodeCommand, ReadsAFile) {
    TempDir const folder;
    folder.write("stream.txt", std::string(SINGLE) + "\n");
    EXPECT_EQ(run({"decode", "--json", "-f", folder.path("stream.txt")}).out, SINGLE_JSON);
}

TEST(DecodeCommand, ReadsStandardInput) {
    EXPECT_EQ(run({"decode", "--json", "-"}, SINGLE).out, SINGLE_JSON);
    EXPECT_EQ(run({"decode", "--json"}, SINGLE).out, SINGLE_JSON);
}

TEST(DecodeCommand, NamesTheDeviceIfItIsGiven) {
    EXPECT_EQ(jsonOf(run({"decode", "--json", "--device", "7", SINGLE}))["deviceID"].asInt(), 7);
    EXPECT_EQ(jsonOf(run({"decode", "--json", "--device=-1", SINGLE}))["deviceID"].asInt(), -1);
}

TEST(DecodeCommand, WritesAsNumbersWhatTheRequestHoldsAsNumbers) {
    Json::Value const song = firstTag(run({"decode", "--json", withField(SONG_ID, "418273956")}));
    ASSERT_TRUE(song["iTunesSongID"].isInt());
    EXPECT_EQ(song["iTunesSongID"].asInt(), 418273956);

    EXPECT_TRUE(
        firstTag(run({"decode", "--json", withField(PODCAST, "0")}))["PodcastFeedURL"].isInt());
    EXPECT_EQ(firstTag(run({"decode", "--json", withField(PROGRAM_NUMBER, "-2")}))["ProgramNumber"]
                  .asInt(),
              -2);
    EXPECT_EQ(
        firstTag(run({"decode", "--json", withField(STOREFRONT, "143411")}))["iTunesStorefrontID"],
        143411);
}

TEST(DecodeCommand, WritesALargeStorefrontAsTheNegativeNumberOfTheSameBits) {
    std::string const stream =
        "00 00 00 00 00 00 00 0A 00 00 00 00 00 00 00 00 34 32 39 34 39 36 37 32 39 35";
    EXPECT_EQ(firstTag(run({"decode", "--json", stream}))["iTunesStorefrontID"].asInt(), -1);
}

struct Uncarried {
    std::size_t place;
    char const* text;
    char const* key;
};

class DecodeCommandUncarried : public testing::TestWithParam<Uncarried> {};

TEST_P(DecodeCommandUncarried, IsLeftOutWithAWarning) {
    Outcome const outcome = run({"decode", "--json", withField(GetParam().place, GetParam().text)});

    EXPECT_FALSE(firstTag(outcome).isMember(GetParam().key));
    EXPECT_THAT(outcome.err, StartsWith(std::string("songlatchctl: ") + GetParam().key + " \""
                                        + GetParam().text + "\" is left out"));
}

INSTANTIATE_TEST_SUITE_P(Values, DecodeCommandUncarried,
                         testing::Values(Uncarried{SONG_ID, "12a", "iTunesSongID"},
                                         Uncarried{SONG_ID, "007", "iTunesSongID"},
                                         Uncarried{SONG_ID, "-5", "iTunesSongID"},
                                         Uncarried{SONG_ID, " 5", "iTunesSongID"},
                                         Uncarried{PODCAST, "http://q", "PodcastFeedURL"}));

TEST(DecodeCommand, ASongIdBeyond32BitsIsLeftOut) {
    std::string const stream =
        "00 00 00 00 00 00 0A 00 00 00 00 00 00 00 00 00 32 31 34 37 34 38 33 36 34 38";
    Outcome const outcome = run({"decode", "--json", stream});
    EXPECT_FALSE(firstTag(outcome).isMember("iTunesSongID"));
    EXPECT_THAT(outcome.err, HasSubstr("2147483648"));
}

TEST(DecodeCommand, AButtonOtherThan0And1BecomesTrueWithAWarning) {
    Outcome const outcome = run({"decode", "--json", ambiguous("37", "30")});
    EXPECT_TRUE(firstTag(outcome)["ButtonPressed"].asBool());
    EXPECT_THAT(outcome.err, HasSubstr("button 7 becomes true"));
}

struct Broken {
    char const* stream;
    char const* reason;
};

class DecodeCommandBroken : public testing::TestWithParam<Broken> {};

TEST_P(DecodeCommandBroken, FailsAndSaysWhereAndWhatToDo) {
    Outcome const outcome = run({"decode", "--json", GetParam().stream});

    expectFailure(outcome, 1, GetParam().reason);
    EXPECT_THAT(outcome.err, StartsWith("songlatchctl: "));
}

INSTANTIATE_TEST_SUITE_P(
    Streams, DecodeCommandBroken,
    testing::Values(
        Broken{"", "the stream is empty. Pass the pairs"},
        Broken{"00 0G", "byte 2 of the stream is \"0G\". Write every byte as two"},
        Broken{"00 1", "byte 2 of the stream is \"1\""},
        Broken{"00 02", "Malformed Tag Sequence: the stream ends after 2 bytes, inside the field "
                        "lengths (bytes 1 to 15). Pass the whole capture."},
        Broken{"01 02", "inside the field lengths (bytes 1 to 30)"},
        Broken{"00 02 00 03 00 00 00 00 00 00 00 00 00 00 00 00 41 42 43 44",
               "Malformed Tag Sequence: the stream ends after 20 bytes, inside Album (bytes 18 to "
               "20). Pass the whole capture."},
        Broken{"00 00 00 00 00 03 00 00 00 00 00 00 00 00 00 00 6F 6E 65",
               "Malformed Tag Sequence: ProgramNumber (bytes 16 to 18) holds no number. The "
               "capture is damaged or is no tag stream."},
        Broken{"01 01 00 00 00 00 00 00 00 00 00 00 00 00 00 01 01 00 00 00 00 00 00 00 00 00 00 "
               "00 00 00 01 41 30 42",
               "the stream ends after 34 bytes, before the button of the second candidate"},
        Broken{"01 01 00 00 00 00 00 00 00 00 00 00 00 00 00 01 01 00 00 00 00 00 00 00 00 00 00 "
               "00 00 00 01 41 78 42 30",
               "the button of the first candidate (byte 32) holds no number"}));

TEST(DecodeCommand, PrintsFieldsBelowEachOtherForPeople) {
    EXPECT_EQ(run({"decode", SINGLE}).out, "Name           Me\nProgramNumber  1\n");
}

TEST(DecodeCommand, NumbersTheCandidatesForPeople) {
    EXPECT_EQ(run({"decode", ambiguous("31", "30")}).out,
              "Candidate 1\nButtonPressed  yes\nName           A\n\n"
              "Candidate 2\nButtonPressed  no\nName           B\n");
}

TEST(DecodeCommand, AnEmptyFileIsAnEmptyStream) {
    TempDir const folder;
    folder.write("empty", "");
    expectFailure(run({"decode", "-f", folder.path("empty")}), 1, "the stream is empty");
}

TEST(DecodeCommand, AFileThatCannotBeReadIsAFailure) {
    TempDir const folder;
    expectFailure(run({"decode", "-f", folder.path("none")}), 1, "No such file or directory");
}
