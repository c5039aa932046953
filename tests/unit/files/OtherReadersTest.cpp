// What this folder writes, read by readers that have nothing to do with it: Python's expat and
// plistlib, and xmllint.
#include "FilesTest.h"
#include "tagdata/CTagIdMgr.h"

#include <array>
#include <cstdio>

namespace {

class OtherReaders : public FilesTest {
protected:
    OtherReaders() { loadConfig(); }

    /** What a command prints; a status of its own if it fails. */
    static std::string outputOf(std::string const& command) {
        std::string output;
        FILE* const pipe = popen(command.c_str(), "r");
        std::array<char, 4096> buffer{};
        while (std::fgets(buffer.data(), buffer.size(), pipe) != nullptr) {
            output += buffer.data();
        }
        int const status = pclose(pipe);
        return status == 0 ? output : output + "status " + std::to_string(status);
    }
    std::string readBack(char const* kind, std::string const& file) const {
        return outputOf(std::string(SONGLATCH_PYTHON)
                        + " " SONGLATCH_SOURCE_DIR "/tests/unit/files/read_back.py " + kind + " "
                        + folder.path(file));
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
    std::string const text =
        std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n") + "<plist version=\"1.0\">"
        + "<dict>" + config->toAppleXML() + "<key>MarkedTracks</key><array>" + tag->toAppleXML()
        + makeCandidate("candidate", 3)->toAppleXML() + "</array></dict></plist>";
    tools.WriteAppleXML(text, true, folder.path());
    EXPECT_EQ(readBack("plist", "AppleXML.xml"), title + " 1\ncandidate 3\n");
    EXPECT_EQ(outputOf("xmllint --noout " + folder.path("AppleXML.xml") + " 2>&1"), "");
}
