#include "radio/Options.h"

#include "Heard.h"
#include "Version.h"
#include "radio/ExitStatus.h"
#include "radio/HexReader.h"
#include "radio/JsonReader.h"
#include "radio/LogReader.h"

#include <gmock/gmock.h>

#include <vector>

using testing::AllOf;
using testing::HasSubstr;

namespace {

struct Parsed {
    Options options;
    std::optional<EarlyEnd> end;
};

Parsed parsed(std::vector<char const*> words) {
    words.insert(words.begin(), "songlatch-radio");
    Parsed result;
    result.end = readOptions(static_cast<int>(words.size()), words.data(), result.options);
    return result;
}

} // namespace

TEST(Options, DefaultsReadStandardInputOfAnyForm) {
    auto const [options, end] = parsed({});
    EXPECT_FALSE(end);
    EXPECT_EQ(options.input, "-");
    EXPECT_EQ(options.format, Format::Any);
    EXPECT_EQ(options.overlap, 5);
    EXPECT_FALSE(options.program);
    EXPECT_FALSE(options.print);
    EXPECT_EQ(options.frequency + options.pattern + options.control, "");
}

TEST(Options, EachIsRead) {
    auto const [options, end] =
        parsed({"--input", "f", "--format=hex", "--frequency", "95.5", "--program", "7",
                "--overlap", "2.5", "--pattern", "(\\d+)", "--control", "c", "--print"});
    EXPECT_FALSE(end);
    EXPECT_EQ(options.input, "f");
    EXPECT_EQ(options.format, Format::Hex);
    EXPECT_EQ(options.frequency, "95.5");
    EXPECT_EQ(options.program, 7);
    EXPECT_EQ(options.overlap, 2.5);
    EXPECT_EQ(options.pattern, "(\\d+)");
    EXPECT_EQ(options.control, "c");
    EXPECT_TRUE(options.print);
}

TEST(Options, LimitsAreIn) {
    for (char const* const overlap : {"0", "3600"}) {
        EXPECT_FALSE(parsed({"--overlap", overlap}).end) << overlap;
    }
    EXPECT_FALSE(parsed({"--program", "0"}).end);
    for (char const* const frequency : {"95.5", "1010", "101.25"}) {
        EXPECT_FALSE(parsed({"--frequency", frequency}).end) << frequency;
    }
}

TEST(Options, WrongOnesAreSaidWithTheCure) {
    struct Case {
        std::vector<char const*> words;
        char const* said;
    };
    for (Case const& each :
         {Case{{"--format", "xml"}, "nrsc5, json or hex"}, Case{{"--program", "8"}, "from 0 to 7"},
          Case{{"--program", "-1"}, "--program"}, Case{{"--program", "00"}, "from 0 to 7"},
          Case{{"--overlap", "-1"}, "--overlap"}, Case{{"--overlap", "3601"}, "from 0 to 3600"},
          Case{{"--overlap", "nan"}, "from 0 to 3600"}, Case{{"--overlap", "5s"}, "0 to 3600"},
          Case{{"--frequency", "x"}, "such as 95.5"}, Case{{"--frequency", "1.2.3"}, "95.5"},
          Case{{"--frequency", ".5"}, "95.5"}, Case{{"--frequency", "5."}, "95.5"},
          Case{{"--frequency", ""}, "95.5"}, Case{{"--pattern", "("}, "regular expression"},
          Case{{"--input"}, "--input"}, Case{{"word"}, "word"}, Case{{"--nonsense"}, "nonsense"}}) {
        auto const end = parsed(each.words).end;
        ASSERT_TRUE(end) << each.said;
        EXPECT_EQ(end->status, WrongUsage) << each.said;
        EXPECT_THAT(end->error, AllOf(HasSubstr(each.said), HasSubstr("--help")));
        EXPECT_EQ(end->output, "");
    }
}

TEST(Options, HelpAndVersionAreNoFailure) {
    auto const help = parsed({"--help"}).end;
    ASSERT_TRUE(help);
    EXPECT_EQ(help->status, Done);
    for (char const* const option : {"--input", "--format", "--frequency", "--program", "--overlap",
                                     "--pattern", "--control", "--print"}) {
        EXPECT_THAT(help->output, HasSubstr(option));
    }
    auto const version = parsed({"--version"}).end;
    ASSERT_TRUE(version);
    EXPECT_EQ(version->output, "songlatch-radio " SONGLATCH_VERSION "\n");
    EXPECT_EQ(version->status, Done);
}

TEST(Options, EachFormatHasItsReader) {
    Heard heard;
    EXPECT_NE(dynamic_cast<LogReader*>(makeReader(Format::Log, heard).get()), nullptr);
    EXPECT_NE(dynamic_cast<JsonReader*>(makeReader(Format::Json, heard).get()), nullptr);
    EXPECT_NE(dynamic_cast<HexReader*>(makeReader(Format::Hex, heard).get()), nullptr);
    auto const any = makeReader(Format::Any, heard);
    any->feed("{\"title\":\"One\"}\nTitle: Two\n");
    any->finish();
    EXPECT_EQ(heard.lines.size(), 2U);
}
