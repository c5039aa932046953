#include "rig/page/TagFiles.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace {

class Files : public ::testing::Test {
protected:
    std::string folder() const { return mFolder.path() + "/"; }
    TempDir mFolder;
};

TEST_F(Files, TheConfigurationNamesTheFolder) {
    mFolder.write("a", R"(<configuration><localStorage folder="/var/lib/x"/></configuration>)");
    mFolder.write("b", R"(<configuration><localStorage folder="/y/"/></configuration>)");
    mFolder.write("c", "<configuration/>");
    EXPECT_EQ("/var/lib/x/", TagFiles::storageIn(mFolder.path("a")));
    EXPECT_EQ("/y/", TagFiles::storageIn(mFolder.path("b")));
    EXPECT_EQ("./", TagFiles::storageIn(mFolder.path("c")));
    EXPECT_EQ("./", TagFiles::storageIn(mFolder.path("nowhere")));
}

TEST_F(Files, WaitingTagsHaveTheirAttributesAndTheirKind) {
    EXPECT_EQ(Json::Value(Json::arrayValue), TagFiles::waiting(folder())) << "no files, no tags";
    mFolder.write("Tags.xml", R"(<M><Tag Name="A &amp; B" Artist="&lt;b&gt;"/><AmbigTag/></M>)");
    mFolder.write("AmbigTag.xml", R"(<M><AmbigTag Name="C"/><Tag/></M>)");
    Json::Value const tags = TagFiles::waiting(folder());
    ASSERT_EQ(2U, tags.size());
    EXPECT_EQ("A & B", tags[0]["Name"].asString());
    EXPECT_EQ("<b>", tags[0]["Artist"].asString());
    EXPECT_EQ("Tag", tags[0]["kind"].asString());
    EXPECT_EQ("C", tags[1]["Name"].asString());
    EXPECT_EQ("AmbigTag", tags[1]["kind"].asString());
}

TEST_F(Files, HalfAFileIsNone) {
    mFolder.write("Tags.xml", "<M><Tag Name=");
    EXPECT_TRUE(TagFiles::waiting(folder()).isNull());
    mFolder.write("TaggedInfo.xml", "");
    EXPECT_TRUE(TagFiles::record(folder()).isNull());
}

TEST_F(Files, TheRecordHasItsDevices) {
    EXPECT_EQ(Json::Value(Json::arrayValue), TagFiles::record(folder()));
    mFolder.write("TaggedInfo.xml",
                  R"(<M><TagId Name="A" Time="2010/06/09/17"><DeviceId>7</DeviceId>)"
                  R"(<DeviceId>12</DeviceId></TagId><TagId Name="B" Time=""/></M>)");
    Json::Value const entries = TagFiles::record(folder());
    ASSERT_EQ(2U, entries.size());
    EXPECT_EQ("2010/06/09/17", entries[0]["Time"].asString());
    ASSERT_EQ(2U, entries[0]["devices"].size());
    EXPECT_EQ("12", entries[0]["devices"][1].asString());
    EXPECT_TRUE(entries[1]["devices"].empty());
}

} // namespace
