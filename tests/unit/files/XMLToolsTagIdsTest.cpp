#include "files/XMLTools.h"

#include "FilesTest.h"
#include "support/FixedClock.h"
#include "support/StdoutOf.h"
#include "tagdata/CTagIdMgr.h"

#include <filesystem>
#include <stdexcept>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr unsigned int DEVICE = 5;
constexpr unsigned int OTHER_DEVICE = 6;

std::string entry(std::string const& name, std::string const& time,
                  std::vector<unsigned int> const& devices) {
    std::string text = "  <TagId Name=\"" + name + "\" Artist=\"Artist of " + name
                       + "\" iTunesSongID=\"100\" Time=\"" + time + "\">\n";
    for (unsigned int const device : devices) {
        text += "    <DeviceId>" + std::to_string(device) + "</DeviceId>\n";
    }
    return text + "  </TagId>\n";
}

class TagIdFile : public FilesTest {
protected:
    TagIdFile() { loadConfig(); }

    void writeFile(std::string const& entries) const {
        writeData("TaggedInfo.xml", localFile(entries));
    }
    std::string file() const { return readData("TaggedInfo.xml"); }

    /** How much the count of new tags grows by recording lists of new tags. */
    int countedFor(std::initializer_list<char const*> singles,
                   std::initializer_list<char const*> candidates) {
        XMLTools fresh(0, false);
        std::unique_ptr<CConfigInfo> const read(fresh.LoadConfig());
        auto const tags = makeList<CTag>();
        auto const ambigTags = makeList<CAmbigTag>();
        for (char const* const name : singles) {
            tags->AddRear(makeTag(name, true).release());
        }
        for (char const* const name : candidates) {
            ambigTags->AddRear(makeCandidate(name, 1, true).release());
        }
        fresh.WriteTagIdMgrXML(tags.get(), ambigTags.get(), DEVICE);
        return fresh.newTagIdCount;
    }

    std::vector<std::string> writeLog() const {
        return {"Target file: " + dataPath("TaggedInfo.xml"), "Outfile Opened", "Closing file",
                "Finished"};
    }

    ListOwner<CTag> noTags = makeList<CTag>();
    ListOwner<CAmbigTag> noCandidates = makeList<CAmbigTag>();
    FixedClock clock{2010, 6, 15, 12};
};

} // namespace

// Writing.

TEST_F(TagIdFile, AnEmptyRegistryIsThreeLines) {
    tools.WriteTagIdMgrXML(noTags.get(), noCandidates.get(), DEVICE);
    EXPECT_EQ(file(), EMPTY_DOCUMENT);
}

TEST_F(TagIdFile, LoadAndWriteGiveTheSameFileAgain) {
    writeFile(entry("a", "2010/06/15/09", {7, 1, 4294967295U}) + entry("b", "", {})
              + entry("c", "2010/05/16/00", {2}));
    std::string const before = file();
    tools.LoadTagIdMgr();
    tools.WriteTagIdMgrXML();
    EXPECT_EQ(file(), before);
}

TEST_F(TagIdFile, EntriesAreSortedByKey) {
    writeFile(entry("b", "", {2}) + entry("a", "", {1}) + entry("B", "", {3}));
    tools.LoadTagIdMgr();
    tools.WriteTagIdMgrXML();
    EXPECT_EQ(file(), localFile(entry("B", "", {3}) + entry("a", "", {1}) + entry("b", "", {2})));
}

TEST_F(TagIdFile, OldEntriesFallOutOfTheFileButNotOutOfMemory) {
    writeFile(entry("fresh", "2010/05/16/12", {DEVICE}) + entry("future", "2010/06/16/12", {DEVICE})
              + entry("old", "2010/05/15/12", {DEVICE}) + entry("undated", "", {DEVICE}));
    tools.LoadTagIdMgr();
    tools.WriteTagIdMgrXML();
    EXPECT_EQ(file(), localFile(entry("fresh", "2010/05/16/12", {DEVICE})
                                + entry("undated", "", {DEVICE})));
    EXPECT_TRUE(tools.IsAlreadyTagged(makeTag("old").get(), DEVICE));
    EXPECT_TRUE(tools.IsAlreadyTagged(makeTag("future").get(), DEVICE));
}

TEST_F(TagIdFile, NothingIsEscaped) {
    auto const tags = listOf(makeTag("Salt & Sand", true));
    tools.WriteTagIdMgrXML(tags.get(), noCandidates.get(), DEVICE);
    EXPECT_EQ(file(), localFile(entry("Salt & Sand", "2010/06/15/12", {DEVICE})));
    stdoutOf([&] { EXPECT_EQ(tools.LoadTagIdMgr()->size(), 0U); });
    EXPECT_TRUE(log.has("Error: XMLTools_LoadTagIdMgr: Failed to parse document."));
}

TEST_F(TagIdFile, AMissedLookUpLeavesNoEntryInTheFile) {
    writeFile(entry("a", "", {1}));
    tools.LoadTagIdMgr();
    EXPECT_FALSE(tools.IsAlreadyTagged(makeTag("unknown").get(), DEVICE));
    tools.WriteTagIdMgrXML();
    EXPECT_EQ(file(), localFile(entry("a", "", {1})));
}

TEST_F(TagIdFile, AWriteLogsEachStep) {
    tools.LoadTagIdMgr();
    log.clear();
    tools.WriteTagIdMgrXML();
    EXPECT_EQ(log.messagesOf("XMLTools_WriteTagIdMgrXML"), writeLog());
    for (std::string const& line : log.lines()) {
        EXPECT_EQ(line.rfind("Message: ", 0), 0U) << line;
    }
}

TEST_F(TagIdFile, AWriteWithListsSaysThatItFiredFirst) {
    tools.WriteTagIdMgrXML(noTags.get(), noCandidates.get(), DEVICE);
    std::vector<std::string> expected = writeLog();
    expected.insert(expected.begin(), "fired");
    EXPECT_EQ(log.messagesOf("XMLTools_WriteTagIdMgrXML"), expected);
}

TEST_F(TagIdFile, AFileThatCannotBeOpenedIsNotReported) {
    std::filesystem::remove(folder.path("data"));
    tools.WriteTagIdMgrXML(noTags.get(), noCandidates.get(), DEVICE);
    EXPECT_EQ(log.messagesOf("XMLTools_WriteTagIdMgrXML").back(), "Finished");
    EXPECT_FALSE(folder.has("data"));
}

TEST_F(TagIdFile, AnEntryWithATimeThatIsTooShortLeavesTheOldFile) {
    for (char const* const time : {"1", "2010", "2010/06", "2010/06/15"}) {
        writeFile(entry("a", "", {1}) + entry("b", time, {2}));
        std::string const before = file();
        tools.LoadTagIdMgr();
        log.clear();
        EXPECT_THROW(tools.WriteTagIdMgrXML(), std::out_of_range) << time;
        EXPECT_EQ(file(), before) << time;
        EXPECT_THAT(log.lines(), IsEmpty()) << time;
    }
}

// Reading.

TEST_F(TagIdFile, LoadTagIdMgrReturnsTheManagerThatItKeeps) {
    writeFile(entry("a", "", {DEVICE}));
    CTagIdManager* const manager = tools.LoadTagIdMgr();
    EXPECT_EQ(manager->size(), 1U);
    EXPECT_FALSE(tools.IsAlreadyTagged(makeTag("b").get(), DEVICE));
    EXPECT_EQ(manager->size(), 2U) << "the look-up that missed shows in the same registry";
}

TEST_F(TagIdFile, AMissingFileGivesAnEmptyRegistryAndRaisesNothing) {
    EXPECT_EQ(tools.LoadTagIdMgr()->size(), 0U);
    EXPECT_THAT(log.lines(),
                ElementsAre("Message: XMLTools_LoadTagIdMgr: Attempting Parse of "
                                + dataPath("TaggedInfo.xml"),
                            "Error: XMLTools_LoadTagIdMgr: Failed to parse document."));
    EXPECT_FALSE(tools.IsAlreadyTagged(makeTag("a").get(), DEVICE));
}

TEST_F(TagIdFile, AFailedLoadReturnsAnotherManagerThanTheOneThatIsKept) {
    writeData("TaggedInfo.xml", "<MarkedTracks>" + entry("a", "", {DEVICE}));
    CTagIdManager* returned = nullptr;
    stdoutOf([&] { returned = tools.LoadTagIdMgr(); });
    EXPECT_TRUE(log.has("Error: XMLTools_LoadTagIdMgr: Failed to parse document."));
    EXPECT_FALSE(log.has("Message: XMLTools_LoadTagIdMgr: Running Cleanup"));
    EXPECT_EQ(returned->size(), 0U);
    EXPECT_TRUE(tools.IsAlreadyTagged(makeTag("a").get(), DEVICE));
    EXPECT_EQ(returned->size(), 0U);
    tools.WriteTagIdMgrXML();
    EXPECT_EQ(file(), localFile(entry("a", "", {DEVICE})));
}

TEST_F(TagIdFile, EachLoadStartsFromAnEmptyRegistry) {
    writeFile(entry("a", "", {DEVICE}));
    tools.LoadTagIdMgr();
    writeFile(entry("b", "", {DEVICE}));
    tools.LoadTagIdMgr();
    EXPECT_FALSE(tools.IsAlreadyTagged(makeTag("a").get(), DEVICE));
    EXPECT_TRUE(tools.IsAlreadyTagged(makeTag("b").get(), DEVICE));
}

TEST_F(TagIdFile, AManagerThatWasHandedOutLivesAsLongAsTheObject) {
    writeFile(entry("a", "", {DEVICE}));
    CTagIdManager* const first = tools.LoadTagIdMgr();
    folder.remove("data/TaggedInfo.xml");
    CTagIdManager* const detached = tools.LoadTagIdMgr();
    CTagIdManager* const another = tools.LoadTagIdMgr();
    EXPECT_EQ(first->size(), 1U);
    EXPECT_EQ(detached->size(), 0U);
    EXPECT_EQ(another->size(), 0U);
    EXPECT_NE(detached, another);
}

// Between tags and registry.

TEST_F(TagIdFile, NewTagsAreRecordedForTheDeviceAsOfNow) {
    auto const tags = listOf(makeTag("old"), makeTag("new", true));
    auto const candidates = listOf(makeCandidate("first", 1, true), makeCandidate("second", 2));
    tools.WriteTagIdMgrXML(tags.get(), candidates.get(), DEVICE);
    EXPECT_EQ(file(), localFile(entry("first", "2010/06/15/12", {DEVICE})
                                + entry("new", "2010/06/15/12", {DEVICE})));
}

TEST_F(TagIdFile, AnEntryKeepsTheTimeOfItsFirstDevice) {
    writeFile(entry("a", "2010/06/01/08", {OTHER_DEVICE}));
    tools.LoadTagIdMgr();
    auto const tags = listOf(makeTag("a", true));
    tools.WriteTagIdMgrXML(tags.get(), noCandidates.get(), DEVICE);
    EXPECT_EQ(file(), localFile(entry("a", "2010/06/01/08", {OTHER_DEVICE, DEVICE})));
}

TEST_F(TagIdFile, AmbiguousTagsCountHalf) {
    EXPECT_EQ(countedFor({}, {}), 0);
    EXPECT_EQ(countedFor({"s"}, {}), 1);
    EXPECT_EQ(countedFor({}, {"a"}), 0);
    EXPECT_EQ(countedFor({}, {"a", "b"}), 1);
    EXPECT_EQ(countedFor({}, {"a", "b", "c"}), 1);
    EXPECT_EQ(countedFor({}, {"a", "b", "c", "d"}), 2);
    EXPECT_EQ(countedFor({"s", "t"}, {"a", "b", "c"}), 3);
}

TEST_F(TagIdFile, ATagThatTheDeviceHasDoesNotCount) {
    EXPECT_EQ(countedFor({"s", "s"}, {}), 1);
    EXPECT_EQ(countedFor({"s"}, {"s", "a"}), 1);
}

TEST_F(TagIdFile, ATagThatOnlyAnotherDeviceHasCounts) {
    auto const tags = listOf(makeTag("s", true));
    tools.WriteTagIdMgrXML(tags.get(), noCandidates.get(), OTHER_DEVICE);
    tools.WriteTagIdMgrXML(tags.get(), noCandidates.get(), DEVICE);
    EXPECT_EQ(tools.newTagIdCount, 2);
}

TEST_F(TagIdFile, TheCountGrowsOverTheLifeOfTheObject) {
    auto const tags = listOf(makeTag("s", true));
    auto const more = listOf(makeTag("s", true), makeTag("t", true));
    tools.WriteTagIdMgrXML(tags.get(), noCandidates.get(), DEVICE);
    tools.WriteTagIdMgrXML(more.get(), noCandidates.get(), DEVICE);
    tools.LoadTagIdMgr();
    EXPECT_EQ(tools.newTagIdCount, 2);
}

TEST_F(TagIdFile, InitTagIdMgrRecordsWithoutWriting) {
    tools.LoadTagIdMgr();
    auto const tags = listOf(makeTag("s", true));
    tools.InitTagIdMgr(tags.get(), noCandidates.get(), DEVICE);
    EXPECT_TRUE(tools.IsAlreadyTagged(makeTag("s").get(), DEVICE));
    EXPECT_FALSE(tools.IsAlreadyTagged(makeTag("s").get(), OTHER_DEVICE));
    EXPECT_FALSE(folder.has("data/TaggedInfo.xml"));
}

TEST_F(TagIdFile, UpdateTagIdsRecordsEveryTagForEveryDevice) {
    tools.LoadTagIdMgr();
    auto const tags = listOf(makeTag("new", true), makeTag("old"));
    auto const candidates = listOf(makeCandidate("candidate", 1));
    std::vector<unsigned int> devices = {OTHER_DEVICE, DEVICE};
    tools.UpdateTagIds(tags.get(), candidates.get(), devices);
    tools.WriteTagIdMgrXML();
    EXPECT_EQ(file(), localFile(entry("candidate", "", devices) + entry("new", "", devices)
                                + entry("old", "", devices)));
    EXPECT_EQ(tools.newTagIdCount, 0);
    EXPECT_THAT(devices, ElementsAre(OTHER_DEVICE, DEVICE));
}

TEST_F(TagIdFile, UpdateTagIdsWithoutDevicesMakesEntriesAllTheSame) {
    tools.LoadTagIdMgr();
    auto const tags = listOf(makeTag("a"));
    std::vector<unsigned int> none;
    tools.UpdateTagIds(tags.get(), noCandidates.get(), none);
    tools.WriteTagIdMgrXML();
    EXPECT_EQ(file(), localFile(entry("a", "", {})));
}

TEST_F(TagIdFile, AnEntryOfUpdateTagIdsHasNoTimeAndNeverAges) {
    tools.LoadTagIdMgr();
    auto const tags = listOf(makeTag("a"));
    std::vector<unsigned int> devices = {DEVICE};
    tools.UpdateTagIds(tags.get(), noCandidates.get(), devices);
    FixedClock const muchLater(2030, 1, 1, 0);
    tools.WriteTagIdMgrXML();
    EXPECT_EQ(file(), localFile(entry("a", "", {DEVICE})));
}

TEST_F(TagIdFile, UpdateTagIdsKeepsTheTimeOfAnEntry) {
    writeFile(entry("a", "2010/06/01/08", {DEVICE}));
    tools.LoadTagIdMgr();
    auto const tags = listOf(makeTag("a"));
    std::vector<unsigned int> devices = {OTHER_DEVICE};
    tools.UpdateTagIds(tags.get(), noCandidates.get(), devices);
    tools.WriteTagIdMgrXML();
    EXPECT_EQ(file(), localFile(entry("a", "2010/06/01/08", {DEVICE, OTHER_DEVICE})));
}

TEST_F(TagIdFile, TheIdentityIsNameArtistAndSongId) {
    writeFile(entry("a", "", {DEVICE}));
    tools.LoadTagIdMgr();
    auto tag = makeTag("a");
    tag->Album("another album");
    EXPECT_TRUE(tools.IsAlreadyTagged(tag.get(), DEVICE));
    tag->iTunesSongID("101");
    EXPECT_FALSE(tools.IsAlreadyTagged(tag.get(), DEVICE));
}

// Exactness, wherever the parser's buffer happens to end.

TEST_F(TagIdFile, FiveThousandEntriesOfThreeDevicesComeBackWhole) {
    constexpr unsigned int ENTRIES = 5'000;
    tools.LoadTagIdMgr();
    auto const tags = makeList<CTag>();
    for (unsigned int i = 0; i < ENTRIES; ++i) {
        tags->AddRear(makeTag("song " + std::to_string(i)).release());
    }
    std::vector<unsigned int> devices = {1, 4294967294U, 123456};
    tools.UpdateTagIds(tags.get(), noCandidates.get(), devices);
    tools.WriteTagIdMgrXML();
    CTagIdManager const* const read = tools.LoadTagIdMgr();
    ASSERT_EQ(read->size(), ENTRIES);
    for (auto const& [key, block] : *read) {
        ASSERT_EQ(block->deviceIds(), devices) << key;
    }
}

TEST_F(TagIdFile, NoDeviceIsLostAtAnyPositionOfTheBuffersEnd) {
    // The first entry grows byte by byte, so that the end of each buffered piece of the file comes
    // to stand at every position of the entries behind it.
    constexpr std::size_t POSITIONS = 4'200;
    constexpr unsigned int ENTRIES = 60;
    std::vector<unsigned int> const devices = {7, 4294967294U, 123456};
    std::string entries;
    for (unsigned int i = 0; i < ENTRIES; ++i) {
        entries += entry("song " + std::to_string(i), "", devices);
    }
    stdTools::FILELOGGING = false;
    for (std::size_t length = 1; length <= POSITIONS; ++length) {
        writeFile("  <TagId Name=\"" + std::string(length, '!') + "\">\n  </TagId>\n" + entries);
        XMLTools reader(0, false);
        std::unique_ptr<CConfigInfo> const forThePath(reader.LoadConfig());
        CTagIdManager const* const read = reader.LoadTagIdMgr();
        ASSERT_EQ(read->size(), ENTRIES + 1) << length;
        for (auto block = std::next(read->begin()); block != read->end(); ++block) {
            ASSERT_EQ(block->second->deviceIds(), devices) << length << " " << block->first;
        }
    }
}
