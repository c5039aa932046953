#include "files/XMLTools.h"

#include "FilesTest.h"
#include "LibraryCheck.h"
#include "support/FixedClock.h"
#include "support/LogFault.h"
#include "support/StdoutOf.h"
#include "support/Thrown.h"
#include "support/TimeZone.h"
#include "tagdata/CTagIdMgr.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <libxml/parser.h>
#include <libxml/xmlIO.h>
#include <stdexcept>

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class XmlTools : public FilesTest {
protected:
    XmlTools() { loadConfig(); }
};

std::string const TWO_TAGS = "<MarkedTracks><Tag Name=\"a\"/><Tag Name=\"b\"/></MarkedTracks>";

void failInACallback() {
    throw std::runtime_error("from a callback");
}

/** What the parser itself has met since the last look, 0 for nothing; heard or not. */
int parserErrorOf(std::function<void()> const& parse) {
    xmlResetLastError();
    parse();
    xmlError const* const error = xmlGetLastError();
    return error == nullptr ? 0 : error->code;
}

} // namespace

TEST_F(XmlTools, LoadTagsLogsTheParseAndTheCleanup) {
    writeData("Tags.xml", TWO_TAGS);
    loadTags();
    EXPECT_THAT(log.lines(), ElementsAre("Message: XMLTools_LoadTags: Attempting Parse of "
                                             + dataPath("Tags.xml"),
                                         "Message: XMLTools_LoadTags: Running Cleanup"));
}

TEST_F(XmlTools, LoadAmbigTagsAloneLogsTheSetupOfTheHandler) {
    writeData("AmbigTag.xml", "<MarkedTracks/>");
    loadAmbigTags();
    EXPECT_THAT(log.lines(), ElementsAre("Message: XMLTools_LoadAmbigTags: memset completed",
                                         "Message: XMLTools_LoadAmbigTags: Attempting Parse of "
                                             + dataPath("AmbigTag.xml"),
                                         "Message: XMLTools_LoadAmbigTags: Running Cleanup"));
}

TEST_F(XmlTools, LoadTagIdMgrLogsTheParseAndTheCleanup) {
    writeData("TaggedInfo.xml", "<MarkedTracks/>");
    tools.LoadTagIdMgr();
    EXPECT_THAT(log.lines(), ElementsAre("Message: XMLTools_LoadTagIdMgr: Attempting Parse of "
                                             + dataPath("TaggedInfo.xml"),
                                         "Message: XMLTools_LoadTagIdMgr: Running Cleanup"));
}

TEST_F(XmlTools, LoadTagsTakesAMissingFileForAnEmptyOne) {
    EXPECT_EQ(loadTags()->Count(), 0U);
    EXPECT_THAT(log.lines(), ElementsAre("Message: XMLTools_LoadTags: Attempting Parse of "
                                             + dataPath("Tags.xml"),
                                         "Error: XMLTools_LoadTags: Failed to parse document."));
}

TEST_F(XmlTools, LoadTagsOnAFreshObjectParsesAnEmptyPath) {
    XMLTools fresh(0, false);
    EXPECT_EQ(ListOwner<CTag>(fresh.LoadTags())->Count(), 0U);
    EXPECT_THAT(log.lines(), ElementsAre("Message: XMLTools_LoadTags: Attempting Parse of ",
                                         "Error: XMLTools_LoadTags: Failed to parse document."));
}

TEST_F(XmlTools, LoadAmbigTagsRaisesForAMissingFile) {
    auto const thrown = thrownBy([&] { tools.LoadAmbigTags(); });
    ASSERT_NE(thrown, nullptr);
    EXPECT_EQ(thrown->ExCode(), CTagException::ExXmlFile);
    EXPECT_EQ(thrown->Message(), "Failed to parse document");
    EXPECT_EQ(thrown->SystemError, -1);
    EXPECT_THAT(log.lines(),
                ElementsAre("Message: XMLTools_LoadAmbigTags: memset completed",
                            "Message: XMLTools_LoadAmbigTags: Attempting Parse of "
                                + dataPath("AmbigTag.xml"),
                            "Error: XMLTools_LoadAmbigTags: Failed to parse document."));
}

TEST_F(XmlTools, LoadAmbigTagsTakesAnExceptionThrownByValueForAnEmptyFile) {
    writeData("AmbigTag.xml", "<MarkedTracks><AmbigTag Name=\"a\"/></MarkedTracks>");
    LogFault const fault("Attempting Parse of",
                         [] { throw CTagException(CTagException::ExUnhandled, "by value", -1); });
    EXPECT_EQ(loadAmbigTags()->Count(), 0U);
    EXPECT_THAT(log.lines(), ElementsAre("Message: XMLTools_LoadAmbigTags: memset completed"));
}

TEST_F(XmlTools, LoadAmbigTagsRaisesWhenTheSetupOfTheHandlerFails) {
    LogFault const fault("memset completed", [] { throw std::runtime_error("no room"); });
    auto const thrown = thrownBy([&] { tools.LoadAmbigTags(); });
    ASSERT_NE(thrown, nullptr);
    EXPECT_EQ(thrown->ExCode(), CTagException::ExXmlFile);
    EXPECT_EQ(thrown->Message(), "Error setting up saxHandler");
    EXPECT_EQ(thrown->SystemError, -1);
    EXPECT_THAT(log.lines(),
                ElementsAre("Error: XMLTools_LoadAmbigTags: Error setting up saxHandler"));
}

TEST_F(XmlTools, AFileThatBreaksOffGivesLoadTagsAnEmptyListAndNotAPartialOne) {
    writeData("Tags.xml", TWO_TAGS.substr(0, TWO_TAGS.size() - 4));
    EXPECT_EQ(loadTags()->Count(), 0U);
    EXPECT_TRUE(log.has("Error: XMLTools_LoadTags: Failed to parse document."));
    EXPECT_FALSE(log.has("Message: XMLTools_LoadTags: Running Cleanup"));
}

TEST_F(XmlTools, AFileThatBreaksOffMakesLoadAmbigTagsRaise) {
    writeData("AmbigTag.xml", "<MarkedTracks><AmbigTag Name=\"a\"/>");
    auto const thrown = thrownBy([&] { tools.LoadAmbigTags(); });
    ASSERT_NE(thrown, nullptr);
    EXPECT_EQ(thrown->Message(), "Failed to parse document");
}

TEST_F(XmlTools, AnEmptyFileIsIllFormed) {
    writeData("Tags.xml", "");
    EXPECT_EQ(loadTags()->Count(), 0U);
    EXPECT_TRUE(log.has("Error: XMLTools_LoadTags: Failed to parse document."));
}

TEST_F(XmlTools, EveryLoadRaisesWhenTheLibraryIsNotTheOne) {
    FailingLibraryCheck const failing;
    std::vector<std::pair<std::string, std::function<void()>>> const loads = {
        {"LoadTags", [&] { tools.LoadTags(); }},
        {"LoadAmbigTags", [&] { tools.LoadAmbigTags(); }},
        {"LoadTagIdMgr", [&] { tools.LoadTagIdMgr(); }}};
    for (auto const& [name, load] : loads) {
        log.clear();
        auto const thrown = thrownBy(load);
        ASSERT_NE(thrown, nullptr) << name;
        EXPECT_EQ(thrown->ExCode(), CTagException::ExXmlFile) << name;
        EXPECT_EQ(thrown->Message(), "Error Initializing LIBXML") << name;
        EXPECT_EQ(thrown->SystemError, -1) << name;
        EXPECT_THAT(log.lines(),
                    ElementsAre("Error: XMLTools_" + name + ": Error Initializing LIBXML"));
    }
}

TEST_F(XmlTools, EveryLoadAndCheckAsksOnceForTheSameOldestLibrary) {
    constexpr int VERSION_2_7_3 = 20703;
    std::pair<char const*, std::function<void()>> const parses[] = {
        {"LoadConfig", [&] { loadConfig(); }},
        {"LoadTags", [&] { loadTags(); }},
        {"LoadAmbigTags", [&] { thrownBy([&] { loadAmbigTags(); }); }},
        {"LoadTagIdMgr", [&] { tools.LoadTagIdMgr(); }},
        {"TestParseXML", [&] { tools.TestParseXML("<a/>"); }},
        {"TestParseXMLFile", [&] { tools.TestParseXMLFile(XMLTools::_CONFIGFILEPATH); }},
    };
    for (auto const& [name, parse] : parses) {
        takeCheckedVersions();
        parse();
        EXPECT_THAT(takeCheckedVersions(), ElementsAre(VERSION_2_7_3)) << name;
    }
}

TEST_F(XmlTools, TextAndCommentsAreIgnoredWithoutAMessage) {
    writeData("Tags.xml", "<MarkedTracks>text<!-- <Tag/> --><Tag Name=\"a\">more</Tag>"
                          "<![CDATA[<Tag/>]]><?tag Name=\"b\"?></MarkedTracks>");
    EXPECT_THAT(namesIn(loadTags()), ElementsAre("a"));
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(XmlTools, ElementsAndAttributesInANamespaceAreKnownByTheirLocalNames) {
    writeData("Tags.xml", "<m:MarkedTracks xmlns:m=\"http://m.example\">"
                          "<m:Tag m:Name=\"a\"/><Tag xmlns=\"http://n.example\" Name=\"b\"/>"
                          "</m:MarkedTracks>");
    EXPECT_THAT(namesIn(loadTags()), ElementsAre("a", "b"));
}

// What a callback throws must not cross the parser's frames.

TEST_F(XmlTools, WhatACallbackThrowsComesOutOnceTheParserHasReturned) {
    writeData("Tags.xml", "<MarkedTracks></Tag>");
    LogFault const fault("in error", failInACallback);
    EXPECT_THROW(loadTags(), std::runtime_error);
    EXPECT_FALSE(log.has("Error: XMLTools_LoadTags: Failed to parse document."));
}

TEST_F(XmlTools, TheFirstFailureOfAParseIsTheOneThatComesOut) {
    writeData("AmbigTag.xml", "<MarkedTracks><AmbigTag ButtonPressed=\"first\"/>"
                              "<AmbigTag ButtonPressed=\"second\"/></MarkedTracks>");
    auto const thrown = thrownBy([&] { tools.LoadAmbigTags(); });
    ASSERT_NE(thrown, nullptr);
    EXPECT_EQ(thrown->ExCode(), CTagException::ExConversion);
    EXPECT_THAT(thrown->Message(), HasSubstr("\"first\""));
}

TEST_F(XmlTools, AfterAFailureTheRestOfTheFileIsUnheard) {
    writeData("Tags.xml", "<MarkedTracks><Tag ProgramNumber=\"x\"/><Tag></MarkedTracks>");
    EXPECT_EQ(stdoutOf([&] { EXPECT_EQ(loadTags()->Count(), 0U); }), "");
    EXPECT_THAT(log.lines(), ElementsAre("Message: XMLTools_LoadTags: Attempting Parse of "
                                         + dataPath("Tags.xml")));
}

TEST_F(XmlTools, AFailureStopsTheParserBeforeWhatStandsBehindIt) {
    constexpr char BAD_AND_ILL_FORMED[] =
        "<m><Tag ProgramNumber=\"x\"/><AmbigTag ButtonPressed=\"x\"/>"
        "<maxTagCount value=\"x\"/><open></m>";
    writeData("Tags.xml", BAD_AND_ILL_FORMED);
    writeData("AmbigTag.xml", BAD_AND_ILL_FORMED);
    EXPECT_EQ(parserErrorOf([&] { loadTags(); }), 0);
    EXPECT_EQ(parserErrorOf([&] { thrownBy([&] { loadAmbigTags(); }); }), 0);
    configure(BAD_AND_ILL_FORMED);
    EXPECT_EQ(parserErrorOf([&] { thrownBy([&] { tools.LoadConfig(); }); }), 0);
}

TEST_F(XmlTools, AFailureStopsTheParserOfAText) {
    LogFault const fault("in endElementNs", failInACallback);
    EXPECT_EQ(parserErrorOf([&] { EXPECT_TRUE(tools.TestParseXML("<a><b/><open></a>")); }), 0);
    EXPECT_FALSE(log.has("Error: XMLTools_TestParseXML: Failed to parse document."));
    EXPECT_EQ(log.lines().back(), "Error: XMLTools_TestParseXML: Error running Parser");
}

TEST_F(XmlTools, AFolderInPlaceOfAFileIsAFileThatFailsToParse) {
    std::filesystem::create_directory(dataPath("Tags.xml"));
    stdoutOf([&] { EXPECT_EQ(loadTags()->Count(), 0U); });
    EXPECT_TRUE(log.has("Error: XMLTools_LoadTags: Failed to parse document."));
}

TEST_F(XmlTools, AFailureInAReportStopsTheParserAtTheNextElement) {
    writeData("Tags.xml", "<MarkedTracks><?xmlish?><Tag Name=\"a\"/><open></MarkedTracks>");
    LogFault const fault("in warning", failInACallback);
    EXPECT_EQ(parserErrorOf([&] { EXPECT_THROW(loadTags(), std::runtime_error); }),
              XML_ERR_RESERVED_XML_NAME);
}

TEST_F(XmlTools, AFailureInAReportLeavesTheParserItsInput) {
    // Large enough to be given back to the system, so that a step into it would be the end.
    std::string const text = "<a>]]>" + std::string(10'000'000, 'x') + "</a>";
    LogFault const fault("in error", failInACallback);
    EXPECT_TRUE(tools.TestParseXML(text));
    EXPECT_EQ(log.lines().back(), "Error: XMLTools_TestParseXML: Error running Parser");
}

TEST_F(XmlTools, OnlyALoadThatSucceedsCleansTheLibraryUp) {
    // The clean-up forgets the inputs that were registered before it.
    auto const inputsAfter = [&](std::string const& text) {
        writeData("Tags.xml", text);
        xmlRegisterDefaultInputCallbacks();
        loadTags();
        return xmlPopInputCallbacks();
    };
    EXPECT_EQ(inputsAfter("<MarkedTracks/>"), -1);
    EXPECT_GE(inputsAfter("<MarkedTracks>"), 0);
}

TEST_F(XmlTools, AFailedLoadDoesNotDisturbTheNextOne) {
    writeData("Tags.xml", "<MarkedTracks><Tag ProgramNumber=\"x\"/></MarkedTracks>");
    EXPECT_EQ(loadTags()->Count(), 0U);
    writeData("Tags.xml", TWO_TAGS);
    EXPECT_EQ(loadTags()->Count(), 2U);
}

// The checks of the parser.

TEST_F(XmlTools, TestParseXMLOfWellFormedTextReportsNoFailure) {
    EXPECT_FALSE(tools.TestParseXML("<a/>"));
    EXPECT_THAT(log.lines(),
                ElementsAre("Message: XMLTools_TestParseXML: Initializing LIBXML",
                            "Message: XMLTools_TestParseXML: Configuring saxHandler",
                            "Message: XMLTools_TestParseXML: Attempting Parse",
                            "Message: ParseFSM_startElementNS: in startElementNs",
                            "Message: ParseFSM_startElementNS: Name = a",
                            "Message: ParseFSM_startElementNS: Attempting to pull name spaces",
                            "Message: ParseFSM_startElementNS: Attempting to pull attributes",
                            "Message: ParseFSM_endElementNS: in endElementNs",
                            "Message: ParseFSM_endElementNS: Name = a",
                            "Message: ParseFSM_endElementNS: exiting endElementNs",
                            "Message: XMLTools_TestParseXML: Running Cleanup"));
}

TEST_F(XmlTools, TestParseXMLOfIllFormedTextReportsAFailure) {
    for (char const* const text : {"", "<a>", "<a></b>", "no markup", "<a b=c/>"}) {
        log.clear();
        stdoutOf([&] { EXPECT_TRUE(tools.TestParseXML(text)) << text; });
        EXPECT_TRUE(log.has("Error: XMLTools_TestParseXML: Failed to parse document.")) << text;
        EXPECT_FALSE(log.has("Message: XMLTools_TestParseXML: Running Cleanup")) << text;
    }
}

TEST_F(XmlTools, TestParseXMLFileReadsTheNamedFile) {
    folder.write("good.xml", "<good/>");
    folder.write("bad.xml", "<bad>");
    EXPECT_FALSE(tools.TestParseXMLFile(folder.path("good.xml")));
    EXPECT_TRUE(log.has("Message: ParseFSM_startElementNS: Name = good"));
    EXPECT_TRUE(log.has("Message: XMLTools_TestParseXMLFile: Running Cleanup"));
    stdoutOf([&] { EXPECT_TRUE(tools.TestParseXMLFile(folder.path("bad.xml"))); });
    EXPECT_TRUE(log.has("Error: XMLTools_TestParseXMLFile: Failed to parse document."));
    log.clear();
    EXPECT_TRUE(tools.TestParseXMLFile(folder.path("missing.xml")));
    EXPECT_THAT(log.lines(),
                ElementsAre("Message: XMLTools_TestParseXMLFile: Initializing LIBXML",
                            "Message: XMLTools_TestParseXMLFile: Configuring saxHandler",
                            "Message: XMLTools_TestParseXMLFile: Attempting Parse",
                            "Error: XMLTools_TestParseXMLFile: Failed to parse document."));
}

TEST_F(XmlTools, ParserChecksReportALibraryThatIsNotTheOne) {
    FailingLibraryCheck const failing;
    EXPECT_TRUE(tools.TestParseXML("<a/>"));
    EXPECT_TRUE(tools.TestParseXMLFile(folder.path("Songlatch.conf")));
    EXPECT_THAT(log.lines(),
                ElementsAre("Message: XMLTools_TestParseXML: Initializing LIBXML",
                            "Error: XMLTools_TestParseXML: Error Initializing LIBXML",
                            "Message: XMLTools_TestParseXMLFile: Initializing LIBXML",
                            "Error: XMLTools_TestParseXMLFile: Error Initializing LIBXML"));
}

TEST_F(XmlTools, TestParseXMLLogsAFailedSetupAsAnError) {
    LogFault const fault("Configuring saxHandler", [] { throw 1; });
    EXPECT_TRUE(tools.TestParseXML("<a/>"));
    EXPECT_THAT(log.lines(),
                ElementsAre("Message: XMLTools_TestParseXML: Initializing LIBXML",
                            "Error: XMLTools_TestParseXML: Error setting up saxHandler"));
}

TEST_F(XmlTools, TestParseXMLFileLogsAFailedSetupAsAMessage) {
    LogFault const fault("Configuring saxHandler", [] { throw 1; });
    EXPECT_TRUE(tools.TestParseXMLFile(folder.path("Songlatch.conf")));
    EXPECT_THAT(log.lines(),
                ElementsAre("Message: XMLTools_TestParseXMLFile: Initializing LIBXML",
                            "Message: XMLTools_TestParseXMLFile: Error setting up saxHandler"));
}

TEST_F(XmlTools, ParserChecksReportACallbackThatThrows) {
    auto const fail = [] { throwTagException(CTagException::ExUnhandled, "in a callback"); };
    {
        LogFault const fault("in endElementNs", fail);
        EXPECT_TRUE(tools.TestParseXML("<a/>"));
    }
    EXPECT_TRUE(log.has("Error: XMLTools_TestParseXML: Error running Parser"));
    {
        LogFault const fault("in endElementNs", fail);
        EXPECT_TRUE(tools.TestParseXMLFile(folder.path("Songlatch.conf")));
    }
    EXPECT_TRUE(log.has("Error: XMLTools_TestParseXMLFile: Error running Parser"));
}

TEST_F(XmlTools, ParserChecksSeeNoTextContent) {
    tools.TestParseXML("<a>unseen</a>");
    for (std::string const& line : log.lines()) {
        EXPECT_THAT(line, testing::Not(HasSubstr("unseen")));
    }
}

// The object itself.

TEST_F(XmlTools, FormattedNowIsTheTimeInUtc) {
    constexpr std::time_t MOMENT = 1276104031;
    FixedClock const clock(MOMENT);
    TimeZone const zone("EAST-9");
    EXPECT_EQ(tools.FormattedNow(), "2010-06-09T17:20:31Z");
}

TEST_F(XmlTools, FormattedNowGoesOnAfterTheLastSecondOf32Bits) {
    FixedClock const clock(std::time_t{2208988800}); // beyond 2^31
    EXPECT_EQ(tools.FormattedNow(), "2040-01-01T00:00:00Z");
}

TEST_F(XmlTools, DebugSendsMessagesToStandardOutputToo) {
    writeData("Tags.xml", TWO_TAGS);
    XMLTools talkative(0, true);
    std::string const printed = stdoutOf([&] {
        std::unique_ptr<CConfigInfo> const read(talkative.LoadConfig());
        ListOwner<CTag> const tags(talkative.LoadTags());
    });
    EXPECT_THAT(printed, HasSubstr("Message: Songlatching: XMLTools_LoadTags: Running Cleanup\n"));
}

TEST_F(XmlTools, CountsNoNewTagsAtFirst) {
    EXPECT_EQ(XMLTools(0, false).newTagIdCount, 0);
}

TEST(XmlToolsDefaults, TheConfigurationStandsInEtcUnlessItIsReplaced) {
    EXPECT_EQ(XMLTools::_CONFIGFILEPATH, "/etc/Songlatch.conf");
}
