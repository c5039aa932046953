#include "files/DocumentReader.h"

#include "files/CConfigInfo.h"
#include "service/stdTools.h"
#include "support/TempDir.h"

#include <gmock/gmock.h>

using testing::HasSubstr;

namespace {

template <class Tag>
std::string elementAt(TagDocument<Tag> const& document, std::string const& text,
                      std::size_t index) {
    ElementPlace const place = document.places.at(index);
    return text.substr(place.begin, place.end - place.begin);
}

struct Faulty {
    char const* text;
    int line;
    int column;
    char const* what;
};

class FaultyDocument : public testing::TestWithParam<Faulty> {};

} // namespace

TEST(DocumentReader, ReadsTagsWithTheirPlaces) {
    std::string const text = "<?xml version=\"1.0\"?>\n<M>\n<Tag Name=\"A &gt; b\" "
                             "ProgramNumber=\"3\"/>\n<!-- <Tag/> --><Tag Name=\"ä\">x</Tag ></M>";
    TagDocument<CTag> const document = readTagDocument(text);
    EXPECT_FALSE(document.fault);
    ASSERT_EQ(document.places.size(), 2U);
    EXPECT_EQ(document.tags->Front->Data->Name(), "A > b");
    EXPECT_EQ(document.tags->Rear->Data->Name(), "ä");
    EXPECT_EQ(elementAt(document, text, 0), "<Tag Name=\"A &gt; b\" ProgramNumber=\"3\"/>");
    EXPECT_EQ(elementAt(document, text, 1), "<Tag Name=\"ä\">x</Tag >");
}

TEST(DocumentReader, ReadsCandidates) {
    std::string const text = "<M><Tag/><AmbigTag ButtonPressed=\"1\" Name=\"A\"/></M>";
    TagDocument<CAmbigTag> const document = readAmbigTagDocument(text);
    ASSERT_EQ(document.places.size(), 1U);
    EXPECT_EQ(document.tags->Front->Data->ButtonPressed(), 1);
    EXPECT_EQ(elementAt(document, text, 0), "<AmbigTag ButtonPressed=\"1\" Name=\"A\"/>");
}

TEST(DocumentReader, ReadsAConfiguration) {
    ConfigDocument const document =
        readConfigDocument("<c><maxTagCount value=\"7\"/><localStorage folder=\"/a\"/></c>");
    EXPECT_FALSE(document.fault);
    EXPECT_EQ(document.config->maxTagCount(), 7);
    EXPECT_EQ(document.config->localStorage(), "/a/");
}

TEST(DocumentReader, ReadsTheRecordWithItsDevices) {
    TagIdDocument const document =
        readTagIdDocument("<M>\n  <TagId Name=\"A\" Artist=\"B\" iTunesSongID=\"1\" Time=\"\">\n"
                          "    <DeviceId>7</DeviceId>\n  </TagId>\n</M>\n");
    EXPECT_FALSE(document.fault);
    EXPECT_TRUE(document.registry->isTagIdExist({"A", "B", "1", ""}, 7));
}

TEST_P(FaultyDocument, IsToldWithItsPlace) {
    TagDocument<CTag> const document = readTagDocument(GetParam().text);
    ASSERT_TRUE(document.fault);
    EXPECT_EQ(document.fault->line, GetParam().line);
    EXPECT_EQ(document.fault->column, GetParam().column);
    EXPECT_THAT(document.fault->what, HasSubstr(GetParam().what));
}

INSTANTIATE_TEST_SUITE_P(Texts, FaultyDocument,
                         testing::Values(Faulty{"", 1, 1, "the file is empty"},
                                         Faulty{"no XML", 1, 1, "'<' not found"},
                                         Faulty{"<M>\n <Tag Name=x/>\n</M>", 2, 12, "AttValue"},
                                         Faulty{"<M>\n<Tag ProgramNumber=\"one\"/></M>", 2, 25,
                                                "Error casting \"one\" to integer"}));

TEST(DocumentReader, KeepsWhatStandsBeforeAFault) {
    TagDocument<CTag> const document = readTagDocument("<M><Tag Name=\"A\"/><Tag Name=");
    EXPECT_TRUE(document.fault);
    ASSERT_NE(document.tags->Front, nullptr);
    EXPECT_EQ(document.tags->Front->Data->Name(), "A");
}

TEST(DocumentReader, PrintsAndLogsNothing) {
    TempDir const folder;
    std::string const logBefore = stdTools::LOGFILEPATH;
    stdTools::LOGFILEPATH = folder.path("log");
    stdTools::FILELOGGING = true;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    readTagDocument("<M><Tag");
    readConfigDocument("<M><maxTagCount value=\"x\"/></M>");
    readTagIdDocument("<M></N>");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_FALSE(folder.has("log"));
    stdTools::FILELOGGING = false;
    stdTools::LOGFILEPATH = logBefore;
}
