// What this folder writes, read by readers that have nothing to do with it: Python's expat and
// plistlib, and xmllint.
#include "FilesTest.h"
#include "platform/ControlNode.h"
#include "support/OutputOf.h"
#include "support/ServedNode.h"
#include "tagdata/CTagIdMgr.h"

namespace {

class OtherReaders : public FilesTest {
protected:
    OtherReaders() { loadConfig(); }

    /** What CraftAppleXML() gives to the driver of an iPod. */
    std::string sent(CLinkedList<CTag>* tags, CLinkedList<CAmbigTag>* candidates) {
        ServedNode const node(folder.path("ipod") + CONTROLNODE);
        tools.CraftAppleXML(config.get(), tags, candidates, folder.path("ipod"), 1);
        auto const requests = node.requests();
        EXPECT_EQ(1U, requests.size());
        return {requests.at(0).data.begin(), requests.at(0).data.end()};
    }

    std::string readBack(char const* kind, std::string const& file) const {
        return outputOf({SONGLATCH_PYTHON, SONGLATCH_SOURCE_DIR "/tests/unit/files/read_back.py",
                         kind, folder.path(file)});
    }

    /** The complaints of a reader that is strict with every property list. */
    std::string complaints() const {
        return outputOf({"xmllint", "--nonet", "--noout", folder.path("sent.plist")});
    }

    std::string const title = "Salt & <Sand> 'n' 12\" — Café";
};

} // namespace

TEST_F(OtherReaders, ReadTheTagFiles) {
    auto const tags = listOf(makeTag(title), makeTag("second"));
    auto const candidates = listOf(makeCandidate(title, 1), makeCandidate("other", 2));
    tools.WriteTagXML(tags.get(), 1);
    tools.WriteAmbigTagXML(candidates.get(), 1);
    EXPECT_EQ(readBack("tags", "data/Tags.xml"), title + "\nsecond\n");
    EXPECT_EQ(readBack("tags", "data/AmbigTag.xml"), title + "\nother\n");
}

TEST_F(OtherReaders, ReadTheEmptyDocument) {
    tools.WriteTagXML(nullptr, 1);
    EXPECT_EQ(readBack("tags", "data/Tags.xml"), "");
}

TEST_F(OtherReaders, ReadTheRecordOfDeliveries) {
    auto const tags = listOf(makeTag("a", true), makeTag("b", true));
    auto const none = makeList<CAmbigTag>();
    tools.WriteTagIdMgrXML(tags.get(), none.get(), 7);
    tools.WriteTagIdMgrXML(tags.get(), none.get(), 4294967295U);
    EXPECT_EQ(readBack("deliveries", "data/TaggedInfo.xml"), "a 7 4294967295\nb 7 4294967295\n");
}

TEST_F(OtherReaders, ReadThePropertyList) {
    auto tag = makeTag(title);
    tag->TimeStamp("2010-03-01T17:05:09Z");
    tag->UnknownData("AAEC");
    auto const tags = listOf(std::move(tag), makeTag("second"));
    auto const candidates = listOf(makeCandidate("candidate", 3));
    folder.write("sent.plist", sent(tags.get(), candidates.get()));
    EXPECT_EQ(readBack("plist", "sent.plist"), title + " 1\nsecond 1\ncandidate 3\n");
    EXPECT_EQ(complaints(), "");
}

TEST_F(OtherReaders, ReadAPropertyListWithoutTracks) {
    auto const tags = makeList<CTag>();
    auto const candidates = makeList<CAmbigTag>();
    folder.write("sent.plist", sent(tags.get(), candidates.get()));
    EXPECT_EQ(readBack("plist", "sent.plist"), "");
    EXPECT_EQ(complaints(), "");
}
