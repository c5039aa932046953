#include "files/ParseFSM.h"

#include "FilesTest.h"
#include "files/CParseTagId.h"
#include "support/LogFault.h"
#include "support/StdoutOf.h"

#include <array>
#include <cstdio>
#include <stdexcept>
#include <type_traits>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

static_assert(std::is_base_of_v<ParseFSM, CParseTagId>);
static_assert(std::has_virtual_destructor_v<CParseTagId>);
static_assert(std::is_empty_v<ParseFSM>);

namespace {

unsigned char const* bytes(char const* text) {
    return reinterpret_cast<unsigned char const*>(text);
}

/** One element with one namespace and two attributes, as the parser hands it out. */
class ParseFSMTest : public FilesTest {
protected:
    void start() {
        ParseFSM::startElementNs(nullptr, bytes("song"), nullptr, nullptr, 1, namespaces.data(), 2,
                                 0, attributes.data());
    }

    char const* text = "Titleempty";
    std::array<unsigned char const*, 2> namespaces = {bytes("n"), bytes("http://n.example")};
    std::array<unsigned char const*, 10> attributes = {
        bytes("name"),   nullptr, nullptr, bytes(text), bytes(text + 5), //
        bytes("artist"), nullptr, nullptr, bytes(text), bytes(text)};
};

std::vector<std::string> const PREPARING = {
    "Message: ParseFSM_startElementNS: in startElementNs",
    "Message: ParseFSM_startElementNS: Name = song",
};
std::vector<std::string> const NAMESPACES = {
    "Message: ParseFSM_startElementNS: Attempting to pull name spaces",
};
std::vector<std::string> const ATTRIBUTES = {
    "Message: ParseFSM_startElementNS: Attempting to pull attributes",
    "Message: ParseFSM_startElementNS: localname: name",
    "Message: ParseFSM_startElementNS: Value: Title",
    "Message: ParseFSM_startElementNS: localname: artist",
    "Message: ParseFSM_startElementNS: Value: ",
};

std::vector<std::string> joined(std::initializer_list<std::vector<std::string>> parts) {
    std::vector<std::string> all;
    for (std::vector<std::string> const& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

std::vector<std::string> complaint(std::string const& text) {
    return {"Message: ParseFSM_startElementNS: " + text};
}

void fail() {
    throw std::runtime_error("no room");
}

} // namespace

TEST_F(ParseFSMTest, LogsNameAndAttributesOfAnElement) {
    stdoutOf([&] { start(); });
    EXPECT_EQ(log.lines(), joined({PREPARING, NAMESPACES, ATTRIBUTES}));
}

TEST_F(ParseFSMTest, PrintsTheNamespacesOfAnElement) {
    std::array<char, 128> expected{};
    std::snprintf(expected.data(), expected.size(),
                  "  namespace: name='n' uri=(%p)'http://n.example'\n",
                  static_cast<void const*>(namespaces[1]));
    EXPECT_EQ(stdoutOf([&] { start(); }), expected.data());
}

TEST_F(ParseFSMTest, PrintsANamespaceWithoutPrefix) {
    namespaces[0] = nullptr;
    EXPECT_THAT(stdoutOf([&] { start(); }), HasSubstr("name='(null)' uri="));
}

TEST_F(ParseFSMTest, AFailureWithTheNameCostsThatStageAlone) {
    LogFault const fault("Name = ", fail);
    stdoutOf([&] { start(); });
    EXPECT_EQ(log.lines(),
              joined({{PREPARING[0]}, complaint("Error in prepping"), NAMESPACES, ATTRIBUTES}));
}

TEST_F(ParseFSMTest, AFailureWithTheNamespacesCostsThatStageAlone) {
    LogFault const fault("Attempting to pull name spaces", fail);
    EXPECT_EQ(stdoutOf([&] { start(); }), "");
    EXPECT_EQ(log.lines(), joined({PREPARING, complaint("Error pulling name spaces"), ATTRIBUTES}));
}

TEST_F(ParseFSMTest, AFailureWithAnAttributeEndsTheStage) {
    LogFault const fault("Value: Title", fail);
    stdoutOf([&] { start(); });
    EXPECT_EQ(log.lines(), joined({PREPARING,
                                   NAMESPACES,
                                   {ATTRIBUTES[0], ATTRIBUTES[1]},
                                   complaint("Error pulling attributes")}));
}

TEST_F(ParseFSMTest, AnAttributeWithoutANameEndsTheStage) {
    attributes[5] = nullptr;
    stdoutOf([&] { start(); });
    EXPECT_EQ(log.lines(), joined({PREPARING,
                                   NAMESPACES,
                                   {ATTRIBUTES[0], ATTRIBUTES[1], ATTRIBUTES[2]},
                                   complaint("Error pulling attributes")}));
}

TEST_F(ParseFSMTest, AValueThatCannotBeCopiedCostsBothOfItsLines) {
    attributes[8] = attributes[9] + 1;
    stdoutOf([&] { start(); });
    EXPECT_EQ(log.lines(), joined({PREPARING,
                                   NAMESPACES,
                                   {ATTRIBUTES[0], ATTRIBUTES[1], ATTRIBUTES[2]},
                                   complaint("Error pulling attributes")}));
}

TEST_F(ParseFSMTest, LogsTheEndOfAnElement) {
    ParseFSM::endElementNs(nullptr, bytes("song"), nullptr, nullptr);
    EXPECT_THAT(log.lines(), ElementsAre("Message: ParseFSM_endElementNS: in endElementNs",
                                         "Message: ParseFSM_endElementNS: Name = song",
                                         "Message: ParseFSM_endElementNS: exiting endElementNs"));
}

TEST_F(ParseFSMTest, AFailureAtTheEndOfAnElementIsLoggedBetweenTheOtherLines) {
    LogFault const fault("Name = ", fail);
    ParseFSM::endElementNs(nullptr, bytes("song"), nullptr, nullptr);
    EXPECT_THAT(log.lines(), ElementsAre("Message: ParseFSM_endElementNS: in endElementNs",
                                         "Message: ParseFSM_endElementNS: Error in prepping",
                                         "Message: ParseFSM_endElementNS: exiting endElementNs"));
}

TEST_F(ParseFSMTest, PrintsAnErrorAndLogsTheFixedLine) {
    EXPECT_EQ(stdoutOf([] { ParseFSM::error(nullptr, "line %d: %s\n", 7, "broken"); }),
              "line 7: broken\n");
    EXPECT_THAT(log.lines(), ElementsAre("Message: ParseFSM_error: in error"));
}

TEST_F(ParseFSMTest, PrintsAWarningAndLogsTheFixedLine) {
    EXPECT_EQ(stdoutOf([] { ParseFSM::warning(nullptr, "line %d: %s\n", 8, "odd"); }),
              "line 8: odd\n");
    EXPECT_THAT(log.lines(), ElementsAre("Message: ParseFSM_warning: in warning"));
}

// From here on with the parser.

TEST_F(ParseFSMTest, AParserErrorGoesToStandardOutputAndNotToTheLog) {
    std::string const printed = stdoutOf([&] { tools.TestParseXML("<a><b></a>"); });
    EXPECT_THAT(printed, HasSubstr("Opening and ending tag mismatch: b line 1 and a\n"));
    EXPECT_TRUE(log.has("Message: ParseFSM_error: in error"));
    for (std::string const& line : log.lines()) {
        EXPECT_THAT(line, testing::Not(HasSubstr("mismatch")));
    }
}

TEST_F(ParseFSMTest, AParserWarningLeavesTheDocumentWellFormed) {
    bool failed = true;
    std::string const printed = stdoutOf([&] { failed = tools.TestParseXML("<a><?xmlish?></a>"); });
    EXPECT_FALSE(failed);
    EXPECT_THAT(printed, HasSubstr("invalid name prefix 'xml'\n"));
    EXPECT_TRUE(log.has("Message: ParseFSM_warning: in warning"));
    EXPECT_THAT(log.messagesOf("ParseFSM_error"), IsEmpty());
}

TEST_F(ParseFSMTest, ALongParserMessageIsPrinted) {
    std::string const name(5'000, 'n');
    std::string const printed = stdoutOf([&] { tools.TestParseXML("<a><" + name + "></a>"); });
    EXPECT_THAT(printed, HasSubstr("tag mismatch: " + name.substr(0, 50)));
}
