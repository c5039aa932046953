#include "service/stdTools.h"

#include "support/LogFile.h"
#include "support/TempDir.h"
#include "tagdata/CTagException.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <sys/stat.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto BELOWMESSAGE = static_cast<stdTools::ErrorLevel>(-1);
constexpr auto ABOVEERROR = static_cast<stdTools::ErrorLevel>(3);

std::string screenOf(stdTools const& tools, stdTools::ErrorLevel level) {
    testing::internal::CaptureStdout();
    tools.Output("src", "text", level);
    return testing::internal::GetCapturedStdout();
}

stdTools speaking() {
    stdTools tools;
    tools.DEBUG = true;
    return tools;
}

/** The exception that a conversion throws; none is a failed test. */
template <class Convert>
std::unique_ptr<CTagException> failureOf(Convert convert) {
    try {
        convert();
    } catch (CTagException* exception) {
        return std::unique_ptr<CTagException>(exception);
    }
    ADD_FAILURE() << "no exception";
    return std::make_unique<CTagException>();
}

TEST(StdToolsOutput, WritesEveryLevelToTheFileWithItsPrefix) {
    LogFile log;
    stdTools const tools;
    testing::internal::CaptureStdout();
    tools.Output("src", "text", stdTools::Message);
    tools.Output("src", "text", stdTools::Warning);
    tools.Output("src", "text", stdTools::Error);
    testing::internal::GetCapturedStdout();
    EXPECT_THAT(log.lines(),
                ElementsAre("Message: src: text", "Warning: src: text", "Error: src: text"));
}

TEST(StdToolsOutput, ShowsOnlyErrorsOnTheScreenWithoutDebug) {
    LogFile const log;
    stdTools const tools;
    EXPECT_EQ(screenOf(tools, stdTools::Message), "");
    EXPECT_EQ(screenOf(tools, stdTools::Warning), "");
    EXPECT_EQ(screenOf(tools, stdTools::Error), "Error: Songlatching: src: text\n");
}

TEST(StdToolsOutput, ShowsAllLevelsOnTheScreenWithDebug) {
    LogFile const log;
    EXPECT_EQ(screenOf(speaking(), stdTools::Message), "Message: Songlatching: src: text\n");
    EXPECT_EQ(screenOf(speaking(), stdTools::Warning), "Warning: Songlatching: src: text\n");
}

TEST(StdToolsOutput, ShowsErrorsOnTheScreenAlthoughFileLoggingIsOff) {
    LogFile const log;
    stdTools::FILELOGGING = false;
    EXPECT_EQ(screenOf(stdTools(), stdTools::Error), "Error: Songlatching: src: text\n");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(StdToolsOutput, WritesNothingAtANegativeLevel) {
    LogFile const log;
    EXPECT_EQ(screenOf(speaking(), BELOWMESSAGE), "");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(StdToolsOutput, MakesTheFileAtANegativeLevelAndWritesNothing) {
    LogFile const log;
    stdTools().Output("src", "text", BELOWMESSAGE);
    ASSERT_TRUE(std::filesystem::exists(log.path()));
    EXPECT_EQ(std::filesystem::file_size(log.path()), 0U);
}

TEST(StdToolsOutput, WritesALevelAboveErrorWithoutAPrefix) {
    LogFile const log;
    EXPECT_EQ(screenOf(speaking(), ABOVEERROR), "Songlatching: src: text\n");
    EXPECT_THAT(log.lines(), ElementsAre("src: text"));
    EXPECT_EQ(screenOf(stdTools(), ABOVEERROR), "");
}

TEST(StdToolsOutput, StillShowsScreenLinesWhenTheFileCannotBeOpened) {
    LogFile const log;
    TempDir const folder;
    stdTools::LOGFILEPATH = folder.path("missing/log");
    EXPECT_EQ(screenOf(stdTools(), stdTools::Error), "Error: Songlatching: src: text\n");
}

TEST(StdToolsOutput, AppendsToWhatTheFileHolds) {
    LogFile log;
    stdTools const tools;
    tools.Output("a", "1", stdTools::Message);
    tools.Output("b", "2", stdTools::Warning);
    EXPECT_THAT(log.lines(), ElementsAre("Message: a: 1", "Warning: b: 2"));
}

TEST(StdToolsOutput, MakesTheFileAnewAfterItWasDeleted) {
    LogFile log;
    stdTools const tools;
    tools.Output("a", "1", stdTools::Message);
    log.clear();
    tools.Output("b", "2", stdTools::Message);
    EXPECT_THAT(log.lines(), ElementsAre("Message: b: 2"));
}

TEST(StdToolsOutput, GoesOnInAFileBeyond2GiB) {
    constexpr std::int64_t LARGE = (std::int64_t{1} << 31) + 5;
    LogFile const log;
    std::ofstream(log.path()).close();
    std::filesystem::resize_file(log.path(), LARGE); // a hole, which takes no room
    stdTools().Output("src", "text", stdTools::Message);
    std::ifstream file(log.path());
    file.seekg(LARGE);
    std::string line;
    std::getline(file, line);
    EXPECT_EQ(line, "Message: src: text");
}

TEST(StdToolsOutput, CreatesTheFileForEverybodyLessTheUmask) {
    LogFile const log;
    mode_t const umaskBefore = umask(0022);
    stdTools().Output("src", "text", stdTools::Message);
    umask(umaskBefore);
    struct stat status {};
    ASSERT_EQ(stat(log.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0644U);
}

TEST(StdTools, ParseBoolTakesNothingButTheExactWord) {
    EXPECT_TRUE(stdTools::parseBool("true"));
    for (char const* text : {"TRUE", "1", "true ", " true", "", "false"}) {
        EXPECT_FALSE(stdTools::parseBool(text)) << '"' << text << '"';
    }
}

TEST(StdTools, ParseIntReadsTheNumberAtTheStart) {
    EXPECT_EQ(stdTools::parseInt("12abc"), 12);
    EXPECT_EQ(stdTools::parseInt("  7"), 7);
    EXPECT_EQ(stdTools::parseInt("-5"), -5);
    EXPECT_EQ(stdTools::parseInt("42"), 42);
}

TEST(StdTools, ParseULongHasThe32BitRangeOnEveryMachine) {
    EXPECT_EQ(stdTools::parseULong("4294967295"), 4294967295UL);
    EXPECT_EQ(stdTools::parseULong("-1"), 4294967295UL);
    failureOf([] { stdTools::parseULong("4294967296"); });
}

TEST(StdTools, ParseFloatReadsTheNumberAtTheStart) {
    EXPECT_FLOAT_EQ(stdTools::parseFloat("95.5 MHz"), 95.5F);
}

TEST(StdTools, ConversionsNameTheTextAndTheKindThatFailed) {
    struct {
        void (*convert)(std::string const&);
        char const* kind;
    } const conversions[] = {
        {[](std::string const& text) { stdTools::parseInt(text); }, "integer"},
        {[](std::string const& text) { stdTools::parseULong(text); }, "unsigned long"},
        {[](std::string const& text) { stdTools::parseFloat(text); }, "float"},
    };
    for (auto const& conversion : conversions) {
        for (std::string const text : {"abc", ""}) {
            auto const failure = failureOf([&] { conversion.convert(text); });
            EXPECT_EQ(failure->ExCode(), CTagException::ExConversion);
            EXPECT_EQ(failure->Message(), "Error casting \"" + text + "\" to " + conversion.kind);
            EXPECT_EQ(failure->SystemError, -1);
        }
    }
}

TEST(StdTools, ToStringWritesDefaultFormats) {
    EXPECT_EQ(stdTools::toString(true), "true");
    EXPECT_EQ(stdTools::toString(false), "false");
    EXPECT_EQ(stdTools::toString(-7), "-7");
    EXPECT_EQ(stdTools::toString(4294967295U), "4294967295");
    EXPECT_EQ(stdTools::toString(7UL), "7");
    EXPECT_EQ(stdTools::toString(3.14159265), "3.14159");
    EXPECT_EQ(stdTools::toString(1e10), "1e+10");
    char text[] = "copy";
    EXPECT_EQ(stdTools::toString(text), "copy");
}

} // namespace
