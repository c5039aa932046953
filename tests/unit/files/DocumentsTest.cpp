// What the documents show and what the package lays down is what the code writes and reads.
#include "FilesTest.h"
#include "platform/ControlNode.h"
#include "platform/ControlNodeServer.h"
#include "support/BlockingPeer.h"
#include "support/FixedClock.h"
#include "tagdata/CTagIdMgr.h"

#include <thread>

namespace {

std::string sourceFile(std::string const& name) {
    std::ifstream file(SONGLATCH_SOURCE_DIR "/" + name, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << name;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/** The first example below a heading of a document. */
std::string exampleIn(std::string const& document, std::string const& heading) {
    std::string const text = sourceFile(document);
    std::string const fence = "```";
    std::size_t const section = text.find(heading + "\n");
    std::size_t const opening = text.find(fence + "xml\n", section);
    std::size_t const begin = text.find('\n', opening) + 1;
    std::size_t const end = text.find(fence, begin);
    EXPECT_NE(section, std::string::npos) << heading;
    EXPECT_NE(end, std::string::npos) << heading;
    return text.substr(begin, end - begin);
}

std::string formatExample(std::string const& heading) {
    return exampleIn("docs/file-formats.md", "## " + heading);
}

std::unique_ptr<CTag> saltAndSand() {
    auto tag = std::make_unique<CTag>();
    tag->Name("Salt & Sand");
    tag->Artist("The Tin Lanterns");
    tag->Album("Low Water");
    tag->iTunesSongID("1000000042");
    tag->iTunesStorefrontID(143441);
    tag->StationFrequency("95.5");
    tag->StationCallLetters("ABCD-FM");
    tag->PodcastFeedURL("0");
    tag->StationURL("http://station.example");
    tag->Genre("Rock 'n' roll");
    tag->TimeStamp("2010-06-09T17:20:31Z");
    tag->ProgramNumber(1);
    tag->iTunesAffiliateID("SAMPLE-00-1234");
    tag->UnknownData("AAEC");
    return tag;
}

std::unique_ptr<CAmbigTag> candidate(char const* name, char const* artist, char const* songId,
                                     int button) {
    auto tag = std::make_unique<CAmbigTag>(false);
    tag->Name(name);
    tag->Artist(artist);
    tag->iTunesSongID(songId);
    tag->StationCallLetters("CCCC-FM");
    tag->TimeStamp("2010-06-09T17:22:05Z");
    tag->ButtonPressed(button);
    return tag;
}

std::unique_ptr<CAmbigTag> slowRain() {
    return candidate("Slow Rain", "Mirela Voss", "1000000044", 0);
}

class Documents : public FilesTest {
protected:
    Documents() { loadConfig(); }

    ListOwner<CAmbigTag> noCandidates = makeList<CAmbigTag>();
};

} // namespace

TEST_F(Documents, ShowTagsAsTheyAreWritten) {
    auto const tags = listOf(saltAndSand());
    tools.WriteTagXML(tags.get(), 1);
    EXPECT_EQ(readData("Tags.xml"), formatExample("Tags.xml"));
}

TEST_F(Documents, ShowCandidatesAsTheyAreWritten) {
    auto const tags =
        listOf(candidate("Night Bus North", "Copper & Rye", "1000000043", 1), slowRain());
    tools.WriteAmbigTagXML(tags.get(), 1);
    EXPECT_EQ(readData("AmbigTag.xml"), formatExample("AmbigTag.xml"));
}

TEST_F(Documents, ShowDeliveriesAsTheyAreWritten) {
    FixedClock const clock(2010, 6, 9, 17);
    auto transferred = std::make_unique<CTag>();
    transferred->Name("Paper Kites");
    transferred->Artist("Ada Wren");
    transferred->iTunesSongID("1000000045");
    auto const transferredTags = listOf(std::move(transferred));
    tools.LoadTagIdMgr();
    std::vector<unsigned int> devices = {7, 12};
    tools.UpdateTagIds(transferredTags.get(), noCandidates.get(), devices);

    auto marked = slowRain();
    marked->NewTagFlag(true);
    auto const markedTags = listOf(std::move(marked));
    auto const noTags = makeList<CTag>();
    tools.WriteTagIdMgrXML(noTags.get(), markedTags.get(), 4294967295U);
    EXPECT_EQ(readData("TaggedInfo.xml"), formatExample("TaggedInfo.xml"));
}

TEST_F(Documents, ShowThePropertyListAsItIsSent) {
    auto const tags = listOf(saltAndSand());
    auto const candidates = listOf(slowRain());
    auto const server = ControlNodeServer::listen(folder.path("ipod") + CONTROLNODE);
    std::string sent;
    std::thread driver([&] {
        auto const peer = server->accept();
        if (receiveFrom(*peer)) {
            sent.assign(peer->request().data.begin(), peer->request().data.end());
            replyTo(*peer, {});
        }
    });
    tools.CraftAppleXML(config.get(), tags.get(), candidates.get(), folder.path("ipod"), 1);
    driver.join();

    std::string expected = formatExample("The property list on the iPod");
    for (std::size_t end = 0; (end = expected.find('\n', end)) != std::string::npos; end += 2) {
        expected.insert(end, 1, '\r');
    }
    EXPECT_EQ(sent, expected);
}

TEST_F(Documents, ShowASmallestConfigurationThatIsRead) {
    configure(exampleIn("docs/configuration.md", "# Configuration"));
    std::unique_ptr<CConfigInfo> const read(tools.LoadConfig());
    EXPECT_EQ(read->localStorage(), "/var/lib/songlatch/");
    EXPECT_EQ(read->maxTagCount(), 100);
}

TEST_F(Documents, TheSampleConfigurationIsReadAsItsCommentsSay) {
    configure(sourceFile("packaging/etc/Songlatch.conf"));
    std::unique_ptr<CConfigInfo> const read(tools.LoadConfig());
    EXPECT_EQ(read->debugVerbosity(), "low");
    EXPECT_EQ(read->localStorage(), "/var/lib/songlatch/");
    EXPECT_EQ(read->maxTagCount(), 100);
    EXPECT_FALSE(read->multiples_enable());
    EXPECT_EQ(read->multiples_choose(), "all");
}

TEST_F(Documents, TheTagFileOfAFirstStartIsTheEmptyDocument) {
    std::string const laidDown = sourceFile("packaging/AmbigTag.xml");
    EXPECT_EQ(laidDown, EMPTY_DOCUMENT);
    writeData("AmbigTag.xml", laidDown);
    EXPECT_EQ(loadAmbigTags()->Count(), 0U);
}
