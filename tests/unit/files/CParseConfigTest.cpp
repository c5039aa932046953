#include "files/CParseConfig.h"

#include "FilesTest.h"
#include "LibraryCheck.h"
#include "support/LogFault.h"
#include "support/StdoutOf.h"
#include "support/Thrown.h"

#include <type_traits>

using testing::ElementsAre;

namespace {

class LoadConfig : public FilesTest {
protected:
    std::unique_ptr<CConfigInfo> load(std::string const& text) {
        configure(text);
        return std::unique_ptr<CConfigInfo>(tools.LoadConfig());
    }
    std::string configPath() const { return folder.path("Songlatch.conf"); }

    void expectParserFailure() {
        auto const thrown = thrownBy([&] { tools.LoadConfig(); });
        ASSERT_NE(thrown, nullptr);
        EXPECT_EQ(thrown->ExCode(), CTagException::ExXmlFile);
        EXPECT_EQ(thrown->Message(), "Error running Parser");
        EXPECT_EQ(thrown->SystemError, -1);
    }
};

struct FolderCase {
    char const* written;
    char const* kept;
};

struct EnabledCase {
    char const* written;
    bool kept;
};

} // namespace

static_assert(std::is_base_of_v<ParseFSM, CParseConfig>);
static_assert(std::has_virtual_destructor_v<CParseConfig>);

TEST_F(LoadConfig, ReadsEveryOption) {
    auto const read = load("<songlatch>"
                           "<taggerConfiguration debugVerbosity=\"high\"/>"
                           "<multiples enabled=\"true\" choose=\"specify\"/>"
                           "<maxTagCount value=\"42\"/>"
                           "<localStorage folder=\"/fs/data\"/>"
                           "</songlatch>");
    EXPECT_EQ(read->debugVerbosity(), "high");
    EXPECT_TRUE(read->multiples_enable());
    EXPECT_EQ(read->multiples_choose(), "specify");
    EXPECT_EQ(read->maxTagCount(), 42);
    EXPECT_EQ(read->localStorage(), "/fs/data/");
}

TEST_F(LoadConfig, EndsTheFolderWithASlashUnlessItIsEmpty) {
    for (FolderCase const& folderCase :
         {FolderCase{"/a/b", "/a/b/"}, FolderCase{"/a/b/", "/a/b/"}, FolderCase{"/", "/"},
          FolderCase{"a", "a/"}, FolderCase{"a/b", "a/b/"}, FolderCase{"", ""}}) {
        auto const read =
            load(std::string("<c><localStorage folder=\"") + folderCase.written + "\"/></c>");
        EXPECT_EQ(read->localStorage(), folderCase.kept) << folderCase.written;
    }
}

TEST_F(LoadConfig, EnabledIsTrueForThatExactTextOnly) {
    for (EnabledCase const& enabledCase :
         {EnabledCase{"true", true}, EnabledCase{"TRUE", false}, EnabledCase{"1", false},
          EnabledCase{"true ", false}, EnabledCase{"", false}, EnabledCase{"false", false}}) {
        auto const read =
            load(std::string("<c><multiples enabled=\"") + enabledCase.written + "\"/></c>");
        EXPECT_EQ(read->multiples_enable(), enabledCase.kept) << enabledCase.written;
    }
}

TEST_F(LoadConfig, IgnoresAnAttributeOfAnotherElement) {
    auto const read = load("<c debugVerbosity=\"high\"><multiples debugVerbosity=\"high\"/>"
                           "<maxTagCount enabled=\"true\" folder=\"/a\"/>"
                           "<localStorage value=\"7\" choose=\"specify\"/></c>");
    EXPECT_EQ(read->debugVerbosity(), "");
    EXPECT_FALSE(read->multiples_enable());
    EXPECT_EQ(read->multiples_choose(), "");
    EXPECT_EQ(read->maxTagCount(), 0);
    EXPECT_EQ(read->localStorage(), "");
}

TEST_F(LoadConfig, FindsTheElementsInAnyOrderAndDepthUnderAnyRoot) {
    auto const read = load("<localStorage folder=\"/d\"><x><y><maxTagCount value=\"3\">"
                           "<multiples choose=\"all\"/></maxTagCount></y></x>"
                           "<taggerConfiguration debugVerbosity=\"v\"/></localStorage>");
    EXPECT_EQ(read->localStorage(), "/d/");
    EXPECT_EQ(read->maxTagCount(), 3);
    EXPECT_EQ(read->multiples_choose(), "all");
    EXPECT_EQ(read->debugVerbosity(), "v");
}

TEST_F(LoadConfig, ComparesNamesExactly) {
    auto const read = load("<c><MaxTagCount value=\"3\"/><maxTagCount Value=\"4\"/>"
                           "<localstorage folder=\"/d\"/><maxTagCounts value=\"5\"/></c>");
    EXPECT_EQ(read->maxTagCount(), 0);
    EXPECT_EQ(read->localStorage(), "");
}

TEST_F(LoadConfig, ComparesLocalNamesWithoutTheirPrefixes) {
    auto const read = load("<c xmlns:n=\"http://n.example\"><n:maxTagCount n:value=\"8\"/></c>");
    EXPECT_EQ(read->maxTagCount(), 8);
}

TEST_F(LoadConfig, LetsTheLaterOfTwoElementsWin) {
    auto const read = load("<c><maxTagCount value=\"1\"/><maxTagCount value=\"2\"/>"
                           "<multiples enabled=\"true\"/><multiples choose=\"all\"/></c>");
    EXPECT_EQ(read->maxTagCount(), 2);
    EXPECT_TRUE(read->multiples_enable());
}

TEST_F(LoadConfig, LeavesTheDefaultsIfNoElementIsKnown) {
    auto const read = load("<anything>text<at a=\"1\">all</at></anything>");
    EXPECT_EQ(read->ManufacturerName(), "VELDAN");
    EXPECT_EQ(read->maxTagCount(), 0);
    EXPECT_FALSE(read->multiples_enable());
    EXPECT_EQ(read->localStorage(), "");
}

TEST_F(LoadConfig, ReadsTheFileAnewEachTime) {
    EXPECT_EQ(load("<c><maxTagCount value=\"1\"/></c>")->maxTagCount(), 1);
    EXPECT_EQ(load("<c><maxTagCount value=\"2\"/></c>")->maxTagCount(), 2);
}

TEST_F(LoadConfig, LogsTheParseAndTheCleanup) {
    load("<c/>");
    EXPECT_THAT(log.lines(),
                ElementsAre("Message: XMLTools_LoadConfig: Attempting Parse of " + configPath(),
                            "Message: XMLTools_LoadConfig: Running Cleanup"));
}

TEST_F(LoadConfig, DerivesTheThreePathsFromTheFolder) {
    load("<c><localStorage folder=\"" + folder.path("data") + "\"/></c>");
    log.clear();
    loadTags();
    thrownBy([&] { tools.LoadAmbigTags(); });
    tools.LoadTagIdMgr();
    EXPECT_TRUE(log.has("Message: XMLTools_LoadTags: Attempting Parse of " + dataPath("Tags.xml")));
    EXPECT_TRUE(log.has("Message: XMLTools_LoadAmbigTags: Attempting Parse of "
                        + dataPath("AmbigTag.xml")));
    EXPECT_TRUE(log.has("Message: XMLTools_LoadTagIdMgr: Attempting Parse of "
                        + dataPath("TaggedInfo.xml")));
}

TEST_F(LoadConfig, MakesThePathsRelativeIfThereIsNoFolder) {
    load("<c/>");
    loadTags();
    EXPECT_TRUE(log.has("Message: XMLTools_LoadTags: Attempting Parse of Tags.xml"));
}

TEST_F(LoadConfig, RaisesForAMissingFileAfterTwoErrors) {
    folder.remove("Songlatch.conf");
    expectParserFailure();
    EXPECT_THAT(log.lines(),
                ElementsAre("Message: XMLTools_LoadConfig: Attempting Parse of " + configPath(),
                            "Error: XMLTools_LoadConfig: Failed to parse document.",
                            "Error: XMLTools_LoadConfig: Error running Parser"));
}

TEST_F(LoadConfig, RaisesForAnIllFormedFileAfterTwoErrors) {
    configure("<c><maxTagCount value=\"1\"></c>");
    expectParserFailure();
    EXPECT_TRUE(log.has("Error: XMLTools_LoadConfig: Failed to parse document."));
    EXPECT_TRUE(log.has("Error: XMLTools_LoadConfig: Error running Parser"));
}

TEST_F(LoadConfig, RaisesForABadNumberWithTheParserErrorAlone) {
    configure("<c><maxTagCount value=\"many\"/></c>");
    expectParserFailure();
    EXPECT_THAT(log.lines(),
                ElementsAre("Message: XMLTools_LoadConfig: Attempting Parse of " + configPath(),
                            "Error: XMLTools_LoadConfig: Error running Parser"));
}

TEST_F(LoadConfig, SaysNothingOfWhatFollowsABadNumber) {
    configure("<c><maxTagCount value=\"many\"/><maxTagCount value=\"few\"/></d>");
    std::string const printed = stdoutOf([&] { expectParserFailure(); });
    EXPECT_EQ(printed, "Error: Songlatching: XMLTools_LoadConfig: Error running Parser\n");
    EXPECT_TRUE(log.messagesOf("ParseFSM_error").empty());
}

TEST_F(LoadConfig, KeepsThePathsWhenItFails) {
    loadConfig();
    configure("<c><localStorage folder=\"/elsewhere\"/><maxTagCount value=\"many\"/></c>");
    expectParserFailure();
    loadTags();
    EXPECT_TRUE(log.has("Message: XMLTools_LoadTags: Attempting Parse of " + dataPath("Tags.xml")));
}

TEST_F(LoadConfig, RaisesWhenTheLibraryIsNotTheOne) {
    FailingLibraryCheck const failing;
    auto const thrown = thrownBy([&] { tools.LoadConfig(); });
    ASSERT_NE(thrown, nullptr);
    EXPECT_EQ(thrown->ExCode(), CTagException::ExXmlFile);
    EXPECT_EQ(thrown->Message(), "Error Initializing LIBXML");
    EXPECT_EQ(thrown->SystemError, -1);
    EXPECT_THAT(log.lines(), ElementsAre("Error: XMLTools_LoadConfig: Error Initializing LIBXML"));
}

TEST_F(LoadConfig, TakesAnyOtherFailureForAParserFailureToo) {
    LogFault const fault("Attempting Parse of", [] { throw 1; });
    expectParserFailure();
}

TEST_F(LoadConfig, ReadsWhicheverFileTheClassLevelPathNames) {
    XMLTools::_CONFIGFILEPATH = folder.path("other.conf");
    folder.write("other.conf", "<c><maxTagCount value=\"77\"/></c>");
    EXPECT_EQ(std::unique_ptr<CConfigInfo>(tools.LoadConfig())->maxTagCount(), 77);
}
