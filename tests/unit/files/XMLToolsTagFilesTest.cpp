#include "files/XMLTools.h"

#include "FilesTest.h"
#include "support/Thrown.h"

#include <array>
#include <filesystem>
#include <set>
#include <sys/stat.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

namespace {

constexpr unsigned int DEVICE = 5;
constexpr unsigned int OTHER_DEVICE = 6;

class TagFiles : public FilesTest {
protected:
    /** Puts the identity of a tag of that name into the registry of the tools. */
    void record(std::string const& name, unsigned int deviceId) {
        loadConfig();
        auto const tags = listOf(makeTag(name, true));
        auto const none = makeList<CAmbigTag>();
        tools.WriteTagIdMgrXML(tags.get(), none.get(), deviceId);
    }
};

/** Every field under its own name, with all that needs an entity in the texts. */
template <class Tag>
std::unique_ptr<Tag> makeFullTag(std::string const& mark) {
    auto tag = std::make_unique<Tag>();
    tag->Name("Name & " + mark);
    tag->Artist("Artist < " + mark);
    tag->Album("Album > " + mark);
    tag->iTunesSongID("314159265");
    tag->iTunesStorefrontID(4294967295UL);
    tag->StationFrequency("95.5 \"" + mark);
    tag->StationCallLetters("ABCD-FM '" + mark);
    tag->PodcastFeedURL("http://feed.example/?a=1&b=" + mark);
    tag->StationURL("http://station.example/" + mark);
    tag->Genre("Rock 'n roll");
    tag->TimeStamp("2010-03-01T17:05:09Z");
    tag->ProgramNumber(-2147483647 - 1);
    tag->iTunesAffiliateID("affiliate " + mark);
    tag->UnknownData("AAEC+/==");
    return tag;
}

/** The values of all fields that a file holds. */
std::vector<std::string> fieldsOf(CTag const& tag) {
    std::vector<std::string> values;
    for (TagField const& field : tagFields()) {
        values.push_back(std::string(field.name) + "=" + field.text(tag));
    }
    return values;
}

std::string const ALL_EMPTY =
    "Name=\"\" Artist=\"\" Album=\"\" iTunesSongID=\"\" iTunesStorefrontID=\"0\" "
    "StationFrequency=\"\" StationCallLetters=\"\" PodcastFeedURL=\"\" StationURL=\"\" Genre=\"\" "
    "TimeStamp=\"\" ProgramNumber=\"0\" iTunesAffiliateID=\"\" UnknownData=\"\"/>\n";

std::string modeOf(std::string const& path) {
    struct stat status {};
    stat(path.c_str(), &status);
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "%03o", status.st_mode & 0777U);
    return text.data();
}

} // namespace

// Writing.

TEST_F(TagFiles, NoListAndAnEmptyListGiveTheEmptyDocument) {
    auto const tags = makeList<CTag>();
    auto const candidates = makeList<CAmbigTag>();
    tools.WriteTagXML(nullptr, DEVICE);
    tools.WriteAmbigTagXML(nullptr, DEVICE);
    EXPECT_EQ(readData("Tags.xml"), EMPTY_DOCUMENT);
    EXPECT_EQ(readData("AmbigTag.xml"), EMPTY_DOCUMENT);
    writeData("Tags.xml", "old");
    writeData("AmbigTag.xml", "old");
    tools.WriteTagXML(tags.get(), DEVICE);
    tools.WriteAmbigTagXML(candidates.get(), DEVICE);
    EXPECT_EQ(readData("Tags.xml"), EMPTY_DOCUMENT);
    EXPECT_EQ(readData("AmbigTag.xml"), EMPTY_DOCUMENT);
}

TEST_F(TagFiles, AnEmptyTagIsWrittenWithAllItsAttributes) {
    auto const tags = listOf(std::make_unique<CTag>());
    auto const candidates = listOf(std::make_unique<CAmbigTag>(false));
    tools.WriteTagXML(tags.get(), DEVICE);
    tools.WriteAmbigTagXML(candidates.get(), DEVICE);
    EXPECT_EQ(readData("Tags.xml"), localFile("<Tag " + ALL_EMPTY));
    EXPECT_EQ(readData("AmbigTag.xml"), localFile("<AmbigTag ButtonPressed=\"0\" " + ALL_EMPTY));
}

TEST_F(TagFiles, TheWholeFileIsTheRecordsBetweenHeadAndEnd) {
    auto const tags = listOf(makeFullTag<CTag>("1"), makeFullTag<CTag>("2"));
    tools.WriteTagXML(tags.get(), DEVICE);
    EXPECT_EQ(readData("Tags.xml"), localFile(tags->PeekAt(0)->toXML() + tags->PeekAt(1)->toXML()));
    auto const candidates = listOf(makeCandidate("a", 1), makeCandidate("b", 2));
    tools.WriteAmbigTagXML(candidates.get(), DEVICE);
    EXPECT_EQ(readData("AmbigTag.xml"),
              localFile(candidates->PeekAt(0)->toXML() + candidates->PeekAt(1)->toXML()));
}

TEST_F(TagFiles, ANewTagThatTheDeviceHasIsLeftOut) {
    record("sent", DEVICE);
    auto const tags = listOf(makeTag("stored"), makeTag("sent", true), makeTag("new", true));
    tools.WriteTagXML(tags.get(), DEVICE);
    EXPECT_THAT(namesIn(loadTags()), ElementsAre("stored", "new"));
}

TEST_F(TagFiles, ANewCandidateThatTheDeviceHasIsLeftOut) {
    record("sent", DEVICE);
    auto const tags = listOf(makeCandidate("sent", 1, true), makeCandidate("new", 2, true));
    tools.WriteAmbigTagXML(tags.get(), DEVICE);
    EXPECT_THAT(namesIn(loadAmbigTags()), ElementsAre("new"));
}

TEST_F(TagFiles, ANewTagThatOnlyAnotherDeviceHasIsWritten) {
    record("sent", OTHER_DEVICE);
    auto const tags = listOf(makeTag("sent", true));
    tools.WriteTagXML(tags.get(), DEVICE);
    EXPECT_THAT(namesIn(loadTags()), ElementsAre("sent"));
}

TEST_F(TagFiles, AStoredTagIsWrittenWhateverTheRegistrySays) {
    record("sent", DEVICE);
    auto const tags = listOf(makeTag("sent", false));
    tools.WriteTagXML(tags.get(), DEVICE);
    EXPECT_THAT(namesIn(loadTags()), ElementsAre("sent"));
}

TEST_F(TagFiles, StoredTagsNeedNoRegistry) {
    auto const tags = listOf(makeTag("a"));
    auto const candidates = listOf(makeCandidate("b", 1));
    tools.WriteTagXML(tags.get(), DEVICE);
    tools.WriteAmbigTagXML(candidates.get(), DEVICE);
    EXPECT_THAT(namesIn(loadTags()), ElementsAre("a"));
    EXPECT_THAT(namesIn(loadAmbigTags()), ElementsAre("b"));
}

TEST_F(TagFiles, WriteTagXMLLogsEachStep) {
    tools.WriteTagXML(nullptr, DEVICE);
    EXPECT_THAT(log.lines(),
                ElementsAre("Message: XMLTools_WriteTagXML: fired",
                            "Message: XMLTools_LoadConfig: Attempting Parse of "
                                + folder.path("Songlatch.conf"),
                            "Message: XMLTools_LoadConfig: Running Cleanup",
                            "Message: XMLTools_WriteTagXML: Config Loaded",
                            "Message: XMLTools_WriteTagXML: Target file: " + dataPath("Tags.xml"),
                            "Message: XMLTools_WriteTagXML: Outfile Opened",
                            "Message: XMLTools_WriteTagXML: Closing file",
                            "Message: XMLTools_WriteTagXML: Finished"));
}

TEST_F(TagFiles, WriteAmbigTagXMLLogsNothingOfItsOwn) {
    tools.WriteAmbigTagXML(nullptr, DEVICE);
    EXPECT_THAT(log.lines(), ElementsAre("Message: XMLTools_LoadConfig: Attempting Parse of "
                                             + folder.path("Songlatch.conf"),
                                         "Message: XMLTools_LoadConfig: Running Cleanup"));
}

TEST_F(TagFiles, AFileThatCannotBeOpenedIsNotReported) {
    std::filesystem::remove(folder.path("data"));
    tools.WriteTagXML(nullptr, DEVICE);
    tools.WriteAmbigTagXML(nullptr, DEVICE);
    EXPECT_THAT(log.messagesOf("XMLTools_WriteTagXML"),
                ElementsAre("fired", "Config Loaded", "Target file: " + dataPath("Tags.xml"),
                            "Outfile Opened", "Closing file", "Finished"));
    EXPECT_FALSE(folder.has("data"));
}

TEST_F(TagFiles, AFullDiskIsNotReported) {
    std::filesystem::create_symlink("/dev/full", dataPath("Tags.xml"));
    auto const tags = listOf(makeTag("a"));
    tools.WriteTagXML(tags.get(), DEVICE);
    EXPECT_EQ(log.messagesOf("XMLTools_WriteTagXML").back(), "Finished");
}

TEST_F(TagFiles, AConfigurationThatCannotBeReadLeavesTheFilesAlone) {
    writeData("Tags.xml", "kept");
    writeData("AmbigTag.xml", "kept");
    configure("<c>");
    auto const fromTags = thrownBy([&] { tools.WriteTagXML(nullptr, DEVICE); });
    auto const fromCandidates = thrownBy([&] { tools.WriteAmbigTagXML(nullptr, DEVICE); });
    ASSERT_NE(fromTags, nullptr);
    ASSERT_NE(fromCandidates, nullptr);
    EXPECT_EQ(fromTags->Message(), "Error running Parser");
    EXPECT_EQ(fromCandidates->Message(), "Error running Parser");
    EXPECT_EQ(readData("Tags.xml"), "kept");
    EXPECT_EQ(readData("AmbigTag.xml"), "kept");
    EXPECT_THAT(log.messagesOf("XMLTools_WriteTagXML"), ElementsAre("fired"));
}

TEST_F(TagFiles, AWriteGoesWhereTheConfigurationSaysNow) {
    loadConfig();
    std::filesystem::create_directory(folder.path("moved"));
    configure("<c><localStorage folder=\"" + folder.path("moved") + "\"/></c>");
    tools.WriteTagXML(nullptr, DEVICE);
    tools.WriteAmbigTagXML(nullptr, DEVICE);
    EXPECT_EQ(folder.read("moved/Tags.xml"), EMPTY_DOCUMENT);
    EXPECT_EQ(folder.read("moved/AmbigTag.xml"), EMPTY_DOCUMENT);
    EXPECT_FALSE(folder.has("data/Tags.xml"));
}

TEST_F(TagFiles, AWriteIsInPlaceAndLeavesNoOtherFile) {
    writeData("Tags.xml", std::string(10'000, 'x'));
    std::filesystem::create_hard_link(dataPath("Tags.xml"), dataPath("link"));
    tools.WriteTagXML(nullptr, DEVICE);
    EXPECT_EQ(readData("link"), EMPTY_DOCUMENT);
    std::filesystem::remove(dataPath("link"));
    tools.WriteAmbigTagXML(nullptr, DEVICE);
    std::set<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(folder.path("data"))) {
        names.insert(entry.path().filename().string());
    }
    EXPECT_THAT(names, UnorderedElementsAre("Tags.xml", "AmbigTag.xml"));
}

TEST_F(TagFiles, ANewFileIsWritableForAllButTheUmask) {
    mode_t const before = umask(0);
    tools.WriteTagXML(nullptr, DEVICE);
    umask(027);
    tools.WriteAmbigTagXML(nullptr, DEVICE);
    umask(before);
    EXPECT_EQ(modeOf(dataPath("Tags.xml")), "666");
    EXPECT_EQ(modeOf(dataPath("AmbigTag.xml")), "640");
}

// Reading back.

TEST_F(TagFiles, TagsComeBackAsTheyWentOut) {
    auto const written =
        listOf(makeFullTag<CTag>("1"), std::make_unique<CTag>(), makeFullTag<CTag>("3"));
    tools.WriteTagXML(written.get(), DEVICE);
    auto const read = loadTags();
    ASSERT_EQ(read->Count(), 3U);
    auto const* original = written->Front;
    for (CTag const* const tag : *read) {
        EXPECT_EQ(fieldsOf(*tag), fieldsOf(*original->Data));
        EXPECT_FALSE(tag->NewTagFlag());
        original = original->Next;
    }
}

TEST_F(TagFiles, CandidatesComeBackAsTheyWentOut) {
    auto first = makeFullTag<CAmbigTag>("1");
    first->ButtonPressed(-7);
    auto const written = listOf(std::move(first), makeCandidate("b", 2147483647));
    tools.WriteAmbigTagXML(written.get(), DEVICE);
    auto const read = loadAmbigTags();
    ASSERT_EQ(read->Count(), 2U);
    auto const* original = written->Front;
    for (CAmbigTag const* const tag : *read) {
        EXPECT_EQ(fieldsOf(*tag), fieldsOf(*original->Data));
        EXPECT_EQ(tag->ButtonPressed(), original->Data->ButtonPressed());
        EXPECT_FALSE(tag->NewTagFlag());
        original = original->Next;
    }
}

TEST_F(TagFiles, ANewTagComesBackAsAStoredOne) {
    loadConfig();
    tools.LoadTagIdMgr();
    auto const tags = listOf(makeTag("new", true));
    tools.WriteTagXML(tags.get(), DEVICE);
    EXPECT_FALSE(loadTags()->PeekAt(0)->NewTagFlag());
}

TEST_F(TagFiles, TenThousandTagsComeBackWholeAndInOrder) {
    constexpr int COUNT = 10'000;
    auto const written = makeList<CTag>();
    auto const candidates = makeList<CAmbigTag>();
    for (int i = 0; i < COUNT; ++i) {
        written->AddRear(makeFullTag<CTag>(std::to_string(i)).release());
        candidates->AddRear(makeCandidate("c" + std::to_string(i), i).release());
    }
    tools.WriteTagXML(written.get(), DEVICE);
    tools.WriteAmbigTagXML(candidates.get(), DEVICE);
    EXPECT_EQ(namesIn(loadTags()), namesIn(written));
    EXPECT_EQ(namesIn(loadAmbigTags()), namesIn(candidates));
}

TEST_F(TagFiles, AnAmpersandIsStoredAsAnEntityAndComesBackAlone) {
    auto const tags = listOf(makeTag("Salt & Sand"));
    tools.WriteTagXML(tags.get(), DEVICE);
    EXPECT_THAT(readData("Tags.xml"), HasSubstr("Name=\"Salt &amp; Sand\""));
    EXPECT_THAT(namesIn(loadTags()), ElementsAre("Salt & Sand"));
}

TEST_F(TagFiles, AnElementWithoutAttributesIsAnEmptyRecord) {
    auto const tags = tagsIn("<MarkedTracks><Tag/></MarkedTracks>");
    ASSERT_EQ(tags->Count(), 1U);
    EXPECT_EQ(fieldsOf(*tags->PeekAt(0)), fieldsOf(CTag()));
}

TEST_F(TagFiles, ACandidateWithoutAButtonHasButtonZero) {
    auto const tags = candidatesIn("<MarkedTracks><AmbigTag Name=\"a\"/></MarkedTracks>");
    ASSERT_EQ(tags->Count(), 1U);
    EXPECT_EQ(tags->PeekAt(0)->ButtonPressed(), 0);
}

TEST_F(TagFiles, AnyRootAndAnyDepthWillDo) {
    EXPECT_THAT(namesIn(tagsIn("<Other><Tag Name=\"a\"><x><Tag Name=\"b\"/></x></Tag></Other>")),
                ElementsAre("a", "b"));
    EXPECT_THAT(namesIn(tagsIn("<Tag Name=\"root\"/>")), ElementsAre("root"));
    EXPECT_THAT(namesIn(candidatesIn("<o><p><AmbigTag Name=\"c\"/></p></o>")), ElementsAre("c"));
}

TEST_F(TagFiles, AnEmptyDocumentGivesAnEmptyList) {
    EXPECT_EQ(tagsIn(EMPTY_DOCUMENT)->Count(), 0U);
    EXPECT_EQ(candidatesIn(EMPTY_DOCUMENT)->Count(), 0U);
}

TEST_F(TagFiles, RecordsOfTheOtherKindArePassedOver) {
    std::string const both = "<m><Tag Name=\"single\"/><AmbigTag Name=\"candidate\"/></m>";
    EXPECT_THAT(namesIn(tagsIn(both)), ElementsAre("single"));
    EXPECT_THAT(namesIn(candidatesIn(both)), ElementsAre("candidate"));
}

TEST_F(TagFiles, NamesAreComparedExactly) {
    auto const tags = tagsIn("<m><tag Name=\"no\"/><Tags Name=\"no\"/>"
                             "<Tag name=\"no\" NAME=\"no\" Title=\"no\" Artist=\"yes\"/></m>");
    ASSERT_EQ(tags->Count(), 1U);
    EXPECT_EQ(tags->PeekAt(0)->Name(), "");
    EXPECT_EQ(tags->PeekAt(0)->Artist(), "yes");
}

TEST_F(TagFiles, AButtonMeansNothingOnASingleTag) {
    EXPECT_EQ(tagsIn("<m><Tag ButtonPressed=\"not a number\" Name=\"a\"/></m>")->Count(), 1U);
}

TEST_F(TagFiles, ABadNumberEmptiesTheTagsWithoutAFurtherLine) {
    for (char const* const attribute : {"ProgramNumber", "iTunesStorefrontID"}) {
        auto const tags = tagsIn(std::string("<m><Tag Name=\"a\"/><Tag ") + attribute
                                 + "=\"none\"/><Tag Name=\"c\"/></m>");
        EXPECT_EQ(tags->Count(), 0U) << attribute;
        EXPECT_THAT(log.lines(), ElementsAre("Message: XMLTools_LoadTags: Attempting Parse of "
                                             + dataPath("Tags.xml")));
    }
}

TEST_F(TagFiles, ABadNumberOfACandidateReachesTheCallerWithItsOwnMessage) {
    struct Case {
        char const* attribute;
        char const* kind;
    };
    for (Case const& bad : {Case{"ButtonPressed", "integer"}, Case{"ProgramNumber", "integer"},
                            Case{"iTunesStorefrontID", "unsigned long"}}) {
        auto const thrown = thrownBy([&] {
            candidatesIn(std::string("<m><AmbigTag ") + bad.attribute + "=\"none\"/></m>");
        });
        ASSERT_NE(thrown, nullptr) << bad.attribute;
        EXPECT_EQ(thrown->ExCode(), CTagException::ExConversion);
        EXPECT_EQ(thrown->Message(), std::string("Error casting \"none\" to ") + bad.kind);
        EXPECT_THAT(log.lines(), ElementsAre("Message: XMLTools_LoadAmbigTags: memset completed",
                                             "Message: XMLTools_LoadAmbigTags: Attempting Parse of "
                                                 + dataPath("AmbigTag.xml")));
    }
}

TEST_F(TagFiles, ASongIdWithAnAmpersandSpoilsTheFile) {
    auto tag = makeTag("a");
    tag->iTunesSongID("1&2");
    auto const tags = listOf(std::move(tag), makeTag("b"));
    tools.WriteTagXML(tags.get(), DEVICE);
    EXPECT_THAT(readData("Tags.xml"), HasSubstr("iTunesSongID=\"1&2\""));
    EXPECT_EQ(loadTags()->Count(), 0U);
    EXPECT_TRUE(log.has("Error: XMLTools_LoadTags: Failed to parse document."));
}

TEST_F(TagFiles, ASecondDoubleQuoteInATextSpoilsTheFile) {
    auto const tags = listOf(makeTag("the \"quoted\" song"));
    tools.WriteTagXML(tags.get(), DEVICE);
    EXPECT_THAT(readData("Tags.xml"), HasSubstr("Name=\"the &quot;quoted\" song\""));
    EXPECT_EQ(loadTags()->Count(), 0U);
}

TEST_F(TagFiles, LineEndsAndTabsInATextComeBackAsBlanks) {
    auto const tags = listOf(makeTag("one\ntwo\tthree\rfour"));
    tools.WriteTagXML(tags.get(), DEVICE);
    EXPECT_THAT(readData("Tags.xml"), HasSubstr("one\ntwo\tthree\rfour"));
    EXPECT_THAT(namesIn(loadTags()), ElementsAre("one two three four"));
}

TEST_F(TagFiles, BytesThatAreNoUtf8SpoilTheFile) {
    auto const tags = listOf(makeTag("caf\xE9"));
    tools.WriteTagXML(tags.get(), DEVICE);
    EXPECT_EQ(loadTags()->Count(), 0U);
    EXPECT_TRUE(log.has("Error: XMLTools_LoadTags: Failed to parse document."));
}

TEST_F(TagFiles, Utf8TextComesBackAsItIs) {
    auto const tags = listOf(makeTag("Café del Niño — 東京"));
    tools.WriteTagXML(tags.get(), DEVICE);
    EXPECT_THAT(namesIn(loadTags()), ElementsAre("Café del Niño — 東京"));
}

TEST_F(TagFiles, AMissingFileOfTagsDoesNoHarmWhereAMissingFileOfCandidatesDoes) {
    loadConfig();
    EXPECT_EQ(thrownBy([&] { loadTags(); }), nullptr);
    EXPECT_NE(thrownBy([&] { loadAmbigTags(); }), nullptr);
}
