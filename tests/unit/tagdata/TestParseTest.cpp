#include "service/TestParse.h"

#include "files/XMLTools.h"
#include "support/LogFile.h"
#include "support/TempDir.h"
#include "support/Thrown.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr char EMPTY_DOCUMENT[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                  "<MarkedTracks>\n"
                                  "</MarkedTracks>\n";

std::string fixture(std::string const& name) {
    std::ifstream file(std::string(SONGLATCH_FIXTURES "/testparse/") + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/** A unit without tags, whose local folder is a temporary one. */
class TestParseRun : public testing::Test {
protected:
    TestParseRun() : mConfigBefore(XMLTools::_CONFIGFILEPATH) {
        XMLTools::_CONFIGFILEPATH = mFolder.path("Songlatch.conf");
        mFolder.write("Songlatch.conf", "<c><localStorage folder=\"" + mFolder.path() + "\"/></c>");
        mFolder.write("AmbigTag.xml", EMPTY_DOCUMENT);
    }
    ~TestParseRun() override { XMLTools::_CONFIGFILEPATH = mConfigBefore; }

    TempDir mFolder;
    LogFile mLog;

private:
    std::string mConfigBefore;
};

} // namespace

TEST_F(TestParseRun, LeavesTheTagFilesOfItsSamples) {
    EXPECT_EQ(TestParse(), 0);

    EXPECT_EQ(mFolder.read("Tags.xml"), fixture("Tags.xml"));
    EXPECT_EQ(mFolder.read("AmbigTag.xml"), fixture("AmbigTag.xml"));
}

TEST_F(TestParseRun, StoresTheSecondCandidateBeforeTheFirst) {
    TestParse();

    std::string const text = mFolder.read("AmbigTag.xml");
    ASSERT_THAT(text, HasSubstr("Second Spring"));
    ASSERT_THAT(text, HasSubstr("Glass Rain"));
    EXPECT_LT(text.find("Second Spring"), text.find("Glass Rain"));
}

TEST_F(TestParseRun, AddsToTheTagsThatAreThere) {
    TestParse();
    std::string const once = mFolder.read("Tags.xml");
    TestParse();

    std::string const head = once.substr(0, once.rfind("</MarkedTracks>"));
    std::string const records = head.substr(head.find("<Tag "));
    EXPECT_EQ(mFolder.read("Tags.xml"), head + records + "</MarkedTracks>\n");
}

TEST_F(TestParseRun, LogsSizeAndFormOfEachSample) {
    TestParse();

    EXPECT_THAT(mLog.messagesOf("TestParse"),
                ElementsAre("List size:111", "Found Single", "List size:56", "Found Single",
                            "List size:70", "Found Single", "List size:78", "Found Single",
                            "List size:152", "Found Fuzzy", "List size:140", "Found Fuzzy",
                            "List size:144", "Found Fuzzy"));
}

TEST_F(TestParseRun, WithoutAFileOfAmbiguousTagsEndsWithThatFailure) {
    mFolder.remove("AmbigTag.xml");

    auto const thrown = thrownBy([] { TestParse(); });

    ASSERT_TRUE(thrown);
    EXPECT_EQ(thrown->ExCode(), CTagException::ExXmlFile);
    EXPECT_EQ(thrown->Message(), "Failed to parse document");
    EXPECT_FALSE(mFolder.has("Tags.xml"));
}
