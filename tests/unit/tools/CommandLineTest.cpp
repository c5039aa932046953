#include "support/Page.h"
#include "support/TempDir.h"
#include "tools/Commands.h"
#include "tools/Console.h"

#include <gmock/gmock.h>

#include <json/reader.h>
#include <json/value.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

using testing::HasSubstr;
using testing::StartsWith;

namespace {

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

Outcome run(std::vector<std::string> const& words, std::string const& input = "") {
    std::istringstream in(input);
    std::ostringstream out;
    std::ostringstream err;
    int const status = runCommandLine(words, {in, out, err});
    return {status, out.str(), err.str()};
}

Json::Value jsonOf(Outcome const& outcome) {
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    Json::Value value;
    EXPECT_TRUE(Json::Reader().parse(outcome.out, value)) << outcome.out;
    return value;
}

Json::Value firstTag(Outcome const& outcome) {
    return jsonOf(outcome)["tags"][0];
}

void expectFailure(Outcome const& outcome, int status, std::string const& message) {
    EXPECT_EQ(outcome.status, status);
    EXPECT_THAT(outcome.err, HasSubstr(message));
    EXPECT_EQ(outcome.out, "");
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

TEST(Decode, PrintsARequestOfOneTag) {
    EXPECT_EQ(run({"decode", SINGLE}).out, SINGLE_JSON);
}

TEST(Decode, PrintsWhatThePageOnTagStreamsShows) {
    Page const page(SONGLATCH_DOCS "/tag-stream.md");
    constexpr char HEADING[] = "A single tag, byte by byte";
    EXPECT_EQ(run({"decode", page.block(HEADING, "```")}).out, page.block(HEADING, "```json"));
}

TEST(Decode, PrintsARequestOfTwoTagsForAnAmbiguousStream) {
    EXPECT_EQ(run({"decode", ambiguous("31", "30")}).out,
              R"({"tags":[{"Artist":"","ButtonPressed":true,"Name":"A"},)"
              R"({"Artist":"","ButtonPressed":false,"Name":"B"}]})"
              "\n");
}

TEST(Decode, TakesAnyWhiteSpaceBetweenPairs) {
    std::string spread = "\n ";
    for (char const character : std::string(SINGLE)) {
        spread += character == ' ' ? std::string("\r\n\t \v\f") : std::string(1, character);
    }
    EXPECT_EQ(run({"decode", spread + "\n"}).out, SINGLE_JSON);
}

TEST(Decode, TakesPairsInAnyNumberOfArguments) {
    std::istringstream pairs(SINGLE);
    std::vector<std::string> words = {"decode"};
    for (std::string pair; pairs >> pair;) {
        words.push_back(pair);
    }
    EXPECT_EQ(run(words).out, SINGLE_JSON);
}

TEST(Decode, TakesPairsWithoutWhiteSpaceAndInLowerCase) {
    EXPECT_EQ(run({"decode", "000200000001000000000000000000014d653131"}).out, SINGLE_JSON);
}

TEST(Decode, ReadsAFile) {
    TempDir const folder;
    folder.write("stream.txt", std::string(SINGLE) + "\n");
    EXPECT_EQ(run({"decode", "-f", folder.path("stream.txt")}).out, SINGLE_JSON);
}

TEST(Decode, ReadsStandardInput) {
    EXPECT_EQ(run({"decode", "-"}, SINGLE).out, SINGLE_JSON);
    EXPECT_EQ(run({"decode"}, SINGLE).out, SINGLE_JSON);
}

TEST(Decode, NamesTheDeviceIfItIsGiven) {
    EXPECT_EQ(jsonOf(run({"decode", "--device", "7", SINGLE}))["deviceID"].asInt(), 7);
    EXPECT_EQ(jsonOf(run({"decode", "--device=-1", SINGLE}))["deviceID"].asInt(), -1);
}

TEST(Decode, WritesAsNumbersWhatTheRequestHoldsAsNumbers) {
    Json::Value const song = firstTag(run({"decode", withField(SONG_ID, "418273956")}));
    ASSERT_TRUE(song["iTunesSongID"].isInt());
    EXPECT_EQ(song["iTunesSongID"].asInt(), 418273956);

    EXPECT_TRUE(firstTag(run({"decode", withField(PODCAST, "0")}))["PodcastFeedURL"].isInt());
    EXPECT_EQ(firstTag(run({"decode", withField(PROGRAM_NUMBER, "-2")}))["ProgramNumber"].asInt(),
              -2);
    EXPECT_EQ(firstTag(run({"decode", withField(STOREFRONT, "143411")}))["iTunesStorefrontID"],
              143411);
}

TEST(Decode, WritesALargeStorefrontAsTheNegativeNumberOfTheSameBits) {
    std::string const stream =
        "00 00 00 00 00 00 00 0A 00 00 00 00 00 00 00 00 34 32 39 34 39 36 37 32 39 35";
    EXPECT_EQ(firstTag(run({"decode", stream}))["iTunesStorefrontID"].asInt(), -1);
}

struct Uncarried {
    std::size_t place;
    char const* text;
    char const* key;
};

class DecodeUncarried : public testing::TestWithParam<Uncarried> {};

TEST_P(DecodeUncarried, IsLeftOutWithAWarning) {
    Outcome const outcome = run({"decode", withField(GetParam().place, GetParam().text)});

    EXPECT_FALSE(firstTag(outcome).isMember(GetParam().key));
    EXPECT_THAT(outcome.err, StartsWith(std::string("songlatchctl: ") + GetParam().key + " \""
                                        + GetParam().text + "\" is left out"));
}

INSTANTIATE_TEST_SUITE_P(Values, DecodeUncarried,
                         testing::Values(Uncarried{SONG_ID, "12a", "iTunesSongID"},
                                         Uncarried{SONG_ID, "007", "iTunesSongID"},
                                         Uncarried{SONG_ID, "-5", "iTunesSongID"},
                                         Uncarried{SONG_ID, " 5", "iTunesSongID"},
                                         Uncarried{PODCAST, "http://q", "PodcastFeedURL"}));

TEST(Decode, ASongIdBeyond32BitsIsLeftOut) {
    std::string const stream =
        "00 00 00 00 00 00 0A 00 00 00 00 00 00 00 00 00 32 31 34 37 34 38 33 36 34 38";
    Outcome const outcome = run({"decode", stream});
    EXPECT_FALSE(firstTag(outcome).isMember("iTunesSongID"));
    EXPECT_THAT(outcome.err, HasSubstr("2147483648"));
}

TEST(Decode, AButtonOtherThan0And1BecomesTrueWithAWarning) {
    Outcome const outcome = run({"decode", ambiguous("37", "30")});
    EXPECT_TRUE(firstTag(outcome)["ButtonPressed"].asBool());
    EXPECT_THAT(outcome.err, HasSubstr("button 7 becomes true"));
}

struct Broken {
    char const* stream;
    char const* reason;
};

class DecodeBroken : public testing::TestWithParam<Broken> {};

TEST_P(DecodeBroken, FailsAndSaysWhereAndWhatToDo) {
    Outcome const outcome = run({"decode", GetParam().stream});

    expectFailure(outcome, 1, GetParam().reason);
    EXPECT_THAT(outcome.err, StartsWith("songlatchctl: "));
}

INSTANTIATE_TEST_SUITE_P(
    Streams, DecodeBroken,
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

struct Misuse {
    std::vector<std::string> words;
    char const* complaint;
};

class CommandLineMisuse : public testing::TestWithParam<Misuse> {};

TEST_P(CommandLineMisuse, IsRefusedWithStatus2) {
    Outcome const outcome = run(GetParam().words);
    expectFailure(outcome, 2, GetParam().complaint);
    EXPECT_THAT(outcome.err, HasSubstr("songlatchctl --help"));
}

INSTANTIATE_TEST_SUITE_P(
    Words, CommandLineMisuse,
    testing::Values(Misuse{{}, "no command given"},
                    Misuse{{"encode"}, "unknown command \"encode\""},
                    Misuse{{"decode", "--sent"}, "unknown option --sent"},
                    Misuse{{"decode", "-f"}, "-f needs a value"},
                    Misuse{{"decode", "-f", "file", "00"}, "\"00\" is one argument too many"},
                    Misuse{{"decode", "--send=yes", "00"}, "--send takes no value"},
                    Misuse{{"decode", "--device", "7x", "00"}, "--device needs a whole number"},
                    Misuse{{"decode", "--device", "4294967295", "00"}, "whole number of 32 bits"},
                    Misuse{{"status", "--timeout", "0"}, "--timeout needs a number of seconds"},
                    Misuse{{"status", "now"}, "\"now\" is one argument too many"},
                    Misuse{{"clear", "all"}, "\"all\" is one argument too many"},
                    Misuse{{"watch", "--timeout", "5"}, "unknown option --timeout"},
                    Misuse{{"check", "--artist", "A"}, "check needs --name"},
                    Misuse{{"tag"}, "tag needs a file"},
                    Misuse{{"tag", "a", "b"}, "\"b\" is one argument too many"}));

TEST(CommandLine, HelpNamesEveryCommand) {
    for (std::vector<std::string> const& words :
         {std::vector<std::string>{"--help"}, {"-h"}, {"help"}, {"decode", "--help"}}) {
        Outcome const outcome = run(words);
        EXPECT_EQ(outcome.status, 0);
        for (char const* const name : {"decode", "tag", "clear", "status", "check", "watch"}) {
            EXPECT_THAT(outcome.out, HasSubstr(std::string("\n  ") + name));
        }
    }
}

TEST(CommandLine, AFileThatCannotBeReadIsAFailure) {
    TempDir const folder;
    expectFailure(run({"decode", "-f", folder.path("none")}), 1, "No such file or directory");
    expectFailure(run({"tag", folder.path()}), 1, "Is a directory");
}

TEST(CommandLine, AnEmptyFileIsAnEmptyStream) {
    TempDir const folder;
    folder.write("empty", "");
    expectFailure(run({"decode", "-f", folder.path("empty")}), 1, "the stream is empty");
}

TEST(CommandLine, ARequestThatIsNotJsonIsNotSent) {
    expectFailure(run({"tag", "-"}, "{\"tags\":"), 1, "the request is not JSON");
    expectFailure(run({"tag", "-"}, std::string(100000, '[')), 1, "");
}

class WithoutABus : public testing::Test {
protected:
    WithoutABus() {
        setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + mFolder.path("none")).c_str(), 1);
        unsetenv("DBUS_STARTER_ADDRESS");
        unsetenv("DBUS_STARTER_BUS_TYPE");
    }
    ~WithoutABus() override { unsetenv("DBUS_SYSTEM_BUS_ADDRESS"); }

private:
    TempDir mFolder;
};

TEST_F(WithoutABus, EveryCommandThatNeedsTheServiceFailsAndSaysSo) {
    for (std::vector<std::string> const& words : {std::vector<std::string>{"status"},
                                                  {"clear"},
                                                  {"check", "--name", "Song"},
                                                  {"watch"},
                                                  {"decode", "--send", SINGLE}}) {
        expectFailure(run(words), 1, "there is no service bus");
    }
    expectFailure(run({"tag", "-"}, "{}"), 1, "there is no service bus");
}
