#include "files/XMLTools.h"

#include "FilesTest.h"
#include "platform/ControlNode.h"
#include "platform/ControlNodeServer.h"
#include "support/BlockingPeer.h"
#include "support/FixedClock.h"
#include "support/LogFault.h"
#include "support/OpenWatch.h"
#include "support/Thrown.h"
#include "tagdata/CStack.h"
#include "tagdata/CTagIdMgr.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <thread>
#include <unistd.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

constexpr unsigned int DEVICE = 5;
constexpr unsigned int DCMD_TAG_TEXT = 0x80010E84;

/** The driver of one iPod: answers each request in the same way and remembers it. */
class Driver {
public:
    Driver(std::string const& mountPoint, ControlNodeReply reply)
        : mServer(ControlNodeServer::listen(mountPoint + CONTROLNODE)), mReply(std::move(reply)) {
        if (mServer == nullptr) {
            throw std::runtime_error("no control node below " + mountPoint);
        }
        mThread = std::thread([this] { serve(); });
    }
    ~Driver() { stop(); }

    /** What arrived, once nothing more is taken. */
    std::vector<ControlNodeRequest> const& requests() {
        stop();
        return mRequests;
    }
    std::string text() {
        std::string all;
        for (ControlNodeRequest const& request : requests()) {
            all.append(request.data.begin(), request.data.end());
        }
        return all;
    }

private:
    void stop() {
        if (mThread.joinable()) {
            mServer->hangUp();
            mThread.join();
        }
    }
    void serve() {
        while (auto const peer = mServer->accept()) {
            if (receiveFrom(*peer)) {
                mRequests.push_back(peer->request());
                replyTo(*peer, mReply);
            }
        }
    }

    std::unique_ptr<ControlNodeServer> mServer;
    ControlNodeReply mReply;
    std::vector<ControlNodeRequest> mRequests;
    std::thread mThread;
};

std::set<int> openDescriptors() {
    std::set<int> descriptors;
    for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        descriptors.insert(std::stoi(entry.path().filename().string()));
    }
    for (auto it = descriptors.begin(); it != descriptors.end();) {
        bool const isOpen = fcntl(*it, F_GETFD) != -1; // not that of the walk itself
        it = isOpen ? std::next(it) : descriptors.erase(it);
    }
    return descriptors;
}

/** Closes what an action has left open. @return the access mode of each: O_RDWR and so on */
template <class Action>
std::vector<int> leftOpenBy(Action action) {
    std::set<int> const before = openDescriptors();
    action();
    std::vector<int> modes;
    for (int const descriptor : openDescriptors()) {
        if (before.count(descriptor) == 0) {
            modes.push_back(fcntl(descriptor, F_GETFL) & O_ACCMODE);
            close(descriptor);
        }
    }
    return modes;
}

std::string const HEAD = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
                         "<!DOCTYPE plist PUBLIC \"-//Apple Inc//DTD PLIST 1.0//EN\" "
                         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\r\n"
                         "<plist version=\"1.0\">\r\n"
                         "<dict>\r\n"
                         "<key>MajorVersion</key>\r\n<integer>1</integer>\r\n"
                         "<key>MinorVersion</key>\r\n<integer>1</integer>\r\n"
                         "<key>ManufacturerID</key>\r\n<integer>1000110009</integer>\r\n"
                         "<key>ManufacturerName</key>\r\n<string>VELDAN</string>\r\n"
                         "<key>DeviceName</key>\r\n<string>iPod-Car</string>\r\n"
                         "<key>MarkedTracks</key>\r\n"
                         "<array>\r\n";
std::string const END = "</array>\r\n</dict>\r\n</plist>\r\n";

ControlNodeReply replyOf(std::int32_t status, std::int32_t info) {
    ControlNodeReply reply;
    reply.status = status;
    reply.info = info;
    return reply;
}

class AppleXML : public FilesTest {
protected:
    AppleXML() { loadConfig(); }

    std::string mountPoint() const { return folder.path("ipod"); }

    void craft(CLinkedList<CTag>* tags, CLinkedList<CAmbigTag>* candidates) {
        tools.CraftAppleXML(config.get(), tags, candidates, mountPoint(), DEVICE);
    }

    /** What an iPod gets for these lists. */
    std::string sent(CLinkedList<CTag>* tags, CLinkedList<CAmbigTag>* candidates) {
        Driver driver(mountPoint(), {});
        craft(tags, candidates);
        return driver.text();
    }
    std::string sent(ListOwner<CTag> const& tags) { return sent(tags.get(), noCandidates.get()); }

    void putFileForTheControlNode() const {
        std::filesystem::create_directories(mountPoint() + "/.FS_info.");
        folder.write("ipod/.FS_info./control", "no driver behind this");
    }

    void record(std::string const& name, unsigned int deviceId) {
        auto const tags = listOf(makeTag(name, true));
        tools.WriteTagIdMgrXML(tags.get(), noCandidates.get(), deviceId);
    }

    ListOwner<CTag> noTags = makeList<CTag>();
    ListOwner<CAmbigTag> noCandidates = makeList<CAmbigTag>();
};

using CraftAppleXML = AppleXML;
using WriteAppleXML = AppleXML;

} // namespace

TEST_F(CraftAppleXML, EmptyListsStillGiveADocumentThatIsSent) {
    EXPECT_EQ(sent(noTags.get(), noCandidates.get()), HEAD + END);
}

TEST_F(CraftAppleXML, ATagWithoutValuesHasTwoKeys) {
    EXPECT_EQ(sent(listOf(std::make_unique<CTag>())),
              HEAD
                  + "<dict>\r\n"
                    "<key>AmbiguousTag</key>\r\n<integer>0</integer>\r\n"
                    "<key>ButtonPressed</key>\r\n<integer>1</integer>\r\n"
                    "</dict>\r\n"
                  + END);
}

TEST_F(CraftAppleXML, ATagWithAllValuesHasAllKeysInOrder) {
    auto tag = std::make_unique<CTag>();
    tag->Name("Salt & Sand");
    tag->Artist("The <Tin> Lanterns");
    tag->Album("Low Water");
    tag->iTunesSongID("1&2");
    tag->iTunesStorefrontID(143441);
    tag->StationFrequency("95.5");
    tag->StationCallLetters("ABCD-FM");
    tag->PodcastFeedURL("0");
    tag->StationURL("http://station.example/?a&b");
    tag->Genre("Rock 'n' roll");
    tag->TimeStamp("2010-03-01T17:05:09Z");
    tag->ProgramNumber(1);
    tag->iTunesAffiliateID("affiliate");
    tag->UnknownData("AAEC");
    EXPECT_EQ(sent(listOf(std::move(tag))),
              HEAD
                  + "<dict>\r\n"
                    "<key>AmbiguousTag</key>\r\n<integer>0</integer>\r\n"
                    "<key>ButtonPressed</key>\r\n<integer>1</integer>\r\n"
                    "<key>Name</key>\r\n<string>Salt &amp; Sand</string>\r\n"
                    "<key>Artist</key>\r\n<string>The &lt;Tin&gt; Lanterns</string>\r\n"
                    "<key>Album</key>\r\n<string>Low Water</string>\r\n"
                    "<key>iTunesSongID</key>\r\n<integer>1&2</integer>\r\n"
                    "<key>iTunesStorefrontID</key>\r\n<integer>143441</integer>\r\n"
                    "<key>StationFrequency</key>\r\n<string>95.5</string>\r\n"
                    "<key>StationCallLetters</key>\r\n<string>ABCD-FM</string>\r\n"
                    "<key>PodcastFeedURL</key>\r\n<integer>0</integer>\r\n"
                    "<key>StationURL</key>\r\n"
                    "<string>http://station.example/?a&amp;b</string>\r\n"
                    "<key>Genre</key>\r\n<string>Rock &apos;n' roll</string>\r\n"
                    "<key>TimeStamp</key>\r\n<date>2010-03-01T17:05:09Z</date>\r\n"
                    "<key>ProgramNumber</key>\r\n<integer>1</integer>\r\n"
                    "<key>iTunesAffiliateID</key>\r\n<string>affiliate</string>\r\n"
                    "<key>UnknownData</key>\r\n<data>AAEC</data>\r\n"
                    "</dict>\r\n"
                  + END);
}

TEST_F(CraftAppleXML, NumbersThatSayNothingAreLeftOut) {
    for (int const program : {0, -1}) {
        auto tag = makeTag("a");
        tag->ProgramNumber(program);
        tag->iTunesStorefrontID(0);
        std::string const text = sent(listOf(std::move(tag)));
        EXPECT_THAT(text, Not(HasSubstr("ProgramNumber")));
        EXPECT_THAT(text, Not(HasSubstr("iTunesStorefrontID")));
    }
}

TEST_F(CraftAppleXML, CandidatesComeAfterAllSingleTagsEachWithItsOwnButton) {
    auto const candidates = listOf(makeCandidate("c1", 0), makeCandidate("c2", 3));
    auto const tags = listOf(makeTag("s1"), makeTag("s2"));
    EXPECT_EQ(sent(tags.get(), candidates.get()), HEAD + tags->PeekAt(0)->toAppleXML()
                                                      + tags->PeekAt(1)->toAppleXML()
                                                      + candidates->PeekAt(0)->toAppleXML()
                                                      + candidates->PeekAt(1)->toAppleXML() + END);
    EXPECT_THAT(candidates->PeekAt(0)->toAppleXML(),
                HasSubstr("<key>ButtonPressed</key>\r\n<integer>0</integer>"));
}

TEST_F(CraftAppleXML, NewTagsThatTheDeviceHasAreLeftOut) {
    record("sent", DEVICE);
    record("elsewhere", DEVICE + 1);
    auto const tags = listOf(makeTag("sent", true), makeTag("sent", false),
                             makeTag("elsewhere", true), makeTag("new", true));
    auto const candidates = listOf(makeCandidate("sent", 1, true), makeCandidate("new c", 2, true));
    EXPECT_EQ(sent(tags.get(), candidates.get()),
              HEAD + tags->PeekAt(1)->toAppleXML() + tags->PeekAt(2)->toAppleXML()
                  + tags->PeekAt(3)->toAppleXML() + candidates->PeekAt(1)->toAppleXML() + END);
}

TEST_F(CraftAppleXML, ManyTagsGoInOnePiece) {
    constexpr int COUNT = 10'000;
    auto const tags = makeList<CTag>();
    std::string expected = HEAD;
    for (int i = 0; i < COUNT; ++i) {
        auto tag = makeTag("song " + std::to_string(i));
        expected += tag->toAppleXML();
        tags->AddRear(tag.release());
    }
    Driver driver(mountPoint(), {});
    craft(tags.get(), noCandidates.get());
    ASSERT_EQ(driver.requests().size(), 1U);
    EXPECT_EQ(driver.text(), expected + END);
}

TEST_F(CraftAppleXML, LogsEachStep) {
    auto const tags = listOf(makeTag("a"), makeTag("b"));
    auto const candidates = listOf(makeCandidate("c", 1));
    sent(tags.get(), candidates.get());
    EXPECT_THAT(log.lines(),
                ElementsAre("Message: XMLTools_CraftAppleXML: Starting",
                            "Message: XMLTools_CraftAppleXML: Initial tag count: 2",
                            "Message: XMLTools_CraftAppleXML: Initial AmbigTag count: 1",
                            "Message: XMLTools_CraftAppleXML: Writing XML to: " + mountPoint(),
                            "Message: XMLTools_WriteAppleXML: Testing :false",
                            "Message: XMLTools_WriteAppleXML: Writing to iPod at :" + mountPoint(),
                            "Message: XMLTools_WriteAppleXML: Items were written, only iTunes can "
                            "confirm contents",
                            "Message: XMLTools_WriteAppleXML: finished",
                            "Message: XMLTools_CraftAppleXML: finished"));
}

TEST_F(CraftAppleXML, RefreshesThePathsOfTheTagFiles) {
    config->localStorage("/refreshed/");
    sent(noTags.get(), noCandidates.get());
    loadTags();
    thrownBy([&] { loadAmbigTags(); });
    tools.LoadTagIdMgr();
    EXPECT_TRUE(log.has("Message: XMLTools_LoadTags: Attempting Parse of /refreshed/Tags.xml"));
    EXPECT_TRUE(
        log.has("Message: XMLTools_LoadAmbigTags: Attempting Parse of /refreshed/AmbigTag.xml"));
    EXPECT_TRUE(log.has("Message: XMLTools_LoadTagIdMgr: Attempting Parse of "
                        + dataPath("TaggedInfo.xml")));
}

TEST_F(CraftAppleXML, RaisesTheVeryExceptionAgain) {
    auto failure = std::make_unique<CTagException>(CTagException::ExIpodWrite, "refused", EIO);
    CTagException const* const raised = failure.get();
    LogFault const fault("Writing to iPod at :", [&] { throw failure.release(); });
    auto const thrown = thrownBy([&] { craft(noTags.get(), noCandidates.get()); });
    EXPECT_EQ(thrown.get(), raised);
    EXPECT_EQ(log.lines().back(), "Message: XMLTools_CraftAppleXML: Rethrowing planned exception");
}

TEST_F(CraftAppleXML, LogsAndRaisesThatTheIpodIsNotThere) {
    auto const thrown = thrownBy([&] { craft(noTags.get(), noCandidates.get()); });
    ASSERT_NE(thrown, nullptr);
    EXPECT_EQ(thrown->ExCode(), CTagException::ExIpodWrite);
    EXPECT_EQ(thrown->Message(), "iPod not Availible");
    EXPECT_EQ(thrown->SystemError, -1);
    EXPECT_THAT(log.messagesOf("XMLTools_CraftAppleXML").back(), "Rethrowing planned exception");
    EXPECT_EQ(log.lines().back(), "Message: XMLTools_CraftAppleXML: Rethrowing planned exception");
}

TEST_F(CraftAppleXML, RaisesWhatTheDriverRefusedWith) {
    for (int const status : {ENOSPC, EINVAL, EIO}) {
        Driver const driver(mountPoint(), replyOf(status, 0));
        auto const thrown = thrownBy([&] { craft(noTags.get(), noCandidates.get()); });
        ASSERT_NE(thrown, nullptr);
        EXPECT_EQ(thrown->ExCode(), CTagException::ExIpodWrite);
        EXPECT_EQ(thrown->SystemError, status);
    }
}

TEST_F(CraftAppleXML, LetsAnyOtherExceptionPassWithoutALine) {
    LogFault const fault("Testing :", [] { throw std::runtime_error("another kind"); });
    EXPECT_THROW(craft(noTags.get(), noCandidates.get()), std::runtime_error);
    EXPECT_EQ(log.messagesOf("XMLTools_CraftAppleXML").back(), "Writing XML to: " + mountPoint());
}

// The transport.

TEST_F(WriteAppleXML, TheTextGoesToTheControlNodeInOneCommand) {
    Driver driver(mountPoint(), {});
    tools.WriteAppleXML("the text", false, mountPoint());
    ASSERT_EQ(driver.requests().size(), 1U);
    ControlNodeRequest const& request = driver.requests().front();
    EXPECT_EQ(request.kind, ControlNodeKind::Devctl);
    EXPECT_EQ(request.dcmd, DCMD_TAG_TEXT);
    EXPECT_EQ(driver.text(), "the text");
}

TEST_F(WriteAppleXML, SuccessClosesTheDescriptor) {
    EXPECT_THAT(leftOpenBy([&] {
                    Driver const driver(mountPoint(), {});
                    tools.WriteAppleXML("text", false, mountPoint());
                }),
                IsEmpty());
}

TEST_F(WriteAppleXML, ARefusedTextLeavesTheDescriptorOpen) {
    EXPECT_THAT(leftOpenBy([&] {
                    Driver const driver(mountPoint(), replyOf(EIO, 0));
                    thrownBy([&] { tools.WriteAppleXML("text", false, mountPoint()); });
                }),
                SizeIs(1));
}

TEST_F(WriteAppleXML, AMissingControlNodeIsAnIpodThatIsNotThere) {
    auto const thrown = thrownBy([&] { tools.WriteAppleXML("text", false, mountPoint()); });
    ASSERT_NE(thrown, nullptr);
    EXPECT_EQ(thrown->ExCode(), CTagException::ExIpodWrite);
    EXPECT_EQ(thrown->Message(), "iPod not Availible");
    EXPECT_EQ(thrown->SystemError, -1);
    EXPECT_THAT(log.lines(),
                ElementsAre("Message: XMLTools_WriteAppleXML: Testing :false",
                            "Message: XMLTools_WriteAppleXML: Writing to iPod at :" + mountPoint(),
                            "Error: XMLTools_WriteAppleXML: Failed to access iPod"));
}

TEST_F(WriteAppleXML, ARefusalIsToldWithNumberTextAndReply) {
    Driver const driver(mountPoint(), replyOf(ENOSPC, -12));
    auto const thrown = thrownBy([&] { tools.WriteAppleXML("text", false, mountPoint()); });
    std::string const details = "28 (" + std::string(std::strerror(ENOSPC)) + "): ret:-12";
    ASSERT_NE(thrown, nullptr);
    EXPECT_EQ(thrown->ExCode(), CTagException::ExIpodWrite);
    EXPECT_EQ(thrown->Message(), details);
    EXPECT_EQ(thrown->SystemError, ENOSPC);
    EXPECT_THAT(log.lines(),
                ElementsAre("Message: XMLTools_WriteAppleXML: Testing :false",
                            "Message: XMLTools_WriteAppleXML: Writing to iPod at :" + mountPoint(),
                            "Error: XMLTools_WriteAppleXML: Write of tag file to iPod failed err:"
                                + details));
}

TEST_F(WriteAppleXML, AReplyThatTheDriverNeverGaveIsZero) {
    putFileForTheControlNode();
    std::unique_ptr<CTagException> thrown;
    leftOpenBy(
        [&] { thrown = thrownBy([&] { tools.WriteAppleXML("text", false, mountPoint()); }); });
    ASSERT_NE(thrown, nullptr);
    EXPECT_EQ(thrown->Message(),
              std::to_string(ENOSYS) + " (" + std::strerror(ENOSYS) + "): ret:0");
    EXPECT_EQ(thrown->SystemError, ENOSYS);
}

TEST_F(WriteAppleXML, TheControlNodeIsOpenedForReadingAndWriting) {
    putFileForTheControlNode();
    EXPECT_THAT(
        leftOpenBy([&] { thrownBy([&] { tools.WriteAppleXML("text", false, mountPoint()); }); }),
        ElementsAre(O_RDWR));
}

TEST_F(WriteAppleXML, ATestRunWritesAFileAndLeavesTheDriverAlone) {
    Driver driver(mountPoint(), {});
    folder.write("ipod/AppleXML.xml", "old and longer than the new text");
    tools.WriteAppleXML("the text", true, mountPoint());
    EXPECT_EQ(folder.read("ipod/AppleXML.xml"), "the text");
    EXPECT_THAT(driver.requests(), IsEmpty());
    EXPECT_THAT(log.lines(), ElementsAre("Message: XMLTools_WriteAppleXML: Testing :true",
                                         "Message: XMLTools_WriteAppleXML: Writing to Testfile",
                                         "Message: XMLTools_WriteAppleXML: finished"));
}

TEST_F(WriteAppleXML, ATestRunDoesNotEvenOpenTheControlNode) {
    putFileForTheControlNode();
    OpenWatch const watch(mountPoint() + CONTROLNODE);
    tools.WriteAppleXML("the text", true, mountPoint());
    EXPECT_FALSE(watch.opened());
    thrownBy([&] { tools.WriteAppleXML("the text", false, mountPoint()); });
    EXPECT_TRUE(watch.opened());
}

TEST_F(WriteAppleXML, ATestFileThatCannotBeWrittenIsNotReported) {
    tools.WriteAppleXML("the text", true, folder.path("missing"));
    EXPECT_EQ(log.lines().back(), "Message: XMLTools_WriteAppleXML: finished");
    EXPECT_FALSE(folder.has("missing"));
}

// Sample data.

namespace {

class SampleData : public AppleXML {
protected:
    SampleData() { tools.CreateSampleData(&stack, &ambigStack); }
    ~SampleData() override {
        for (CTag const* const tag : all()) {
            delete tag;
        }
    }

    CStack<CTag> stack;
    CStack<CAmbigTag> ambigStack;

    /** All four records, the latest of each stack first. */
    std::vector<CTag*> all() const {
        std::vector<CTag*> records(stack.List()->begin(), stack.List()->end());
        records.insert(records.end(), ambigStack.List()->begin(), ambigStack.List()->end());
        return records;
    }

    /** How many different values a member has in the four records. */
    template <class Getter>
    std::size_t different(Getter get) const {
        std::vector<std::string> values;
        for (CTag const* const tag : all()) {
            values.push_back(get(*tag));
        }
        std::sort(values.begin(), values.end());
        return static_cast<std::size_t>(
            std::distance(values.begin(), std::unique(values.begin(), values.end())));
    }

private:
    FixedClock mClock{1276104031};
};

} // namespace

TEST_F(SampleData, IsTwoRecordsOnEachStack) {
    EXPECT_THAT(log.lines(), ElementsAre("Message: XMLTools_CreateSampleData: fired"));
    EXPECT_EQ(stack.List()->Count(), 2U);
    ASSERT_EQ(ambigStack.List()->Count(), 2U);
    EXPECT_EQ(ambigStack.List()->PeekAt(0)->ButtonPressed(), 0);
    EXPECT_EQ(ambigStack.List()->PeekAt(1)->ButtonPressed(), 1);
}

TEST_F(SampleData, HasAnotherSongInEachRecord) {
    EXPECT_EQ(different([](CTag const& tag) { return tag.Name(); }), 4U);
    EXPECT_EQ(different([](CTag const& tag) { return tag.Artist(); }), 4U);
    EXPECT_EQ(different([](CTag const& tag) { return tag.Album(); }), 4U);
}

TEST_F(SampleData, HasOneStationForBothCandidatesAndOneForEachSingleTag) {
    EXPECT_EQ(different([](CTag const& tag) { return tag.StationCallLetters(); }), 3U);
    EXPECT_EQ(ambigStack.List()->PeekAt(0)->StationCallLetters(),
              ambigStack.List()->PeekAt(1)->StationCallLetters());
    EXPECT_EQ(ambigStack.List()->PeekAt(0)->StationFrequency(),
              ambigStack.List()->PeekAt(1)->StationFrequency());
    EXPECT_EQ(ambigStack.List()->PeekAt(0)->StationURL(),
              ambigStack.List()->PeekAt(1)->StationURL());
}

TEST_F(SampleData, IsAlikeInEverythingElse) {
    std::string const affiliate = all().front()->iTunesAffiliateID();
    std::string const songId = all().front()->iTunesSongID();
    EXPECT_EQ(affiliate.size(), 14U);
    EXPECT_FALSE(songId.empty());
    EXPECT_EQ(songId.find_first_not_of("0123456789"), std::string::npos);
    for (CTag const* const tag : all()) {
        EXPECT_EQ(tag->PodcastFeedURL(), "0");
        EXPECT_EQ(tag->ProgramNumber(), 1);
        EXPECT_EQ(tag->TimeStamp(), "2010-06-09T17:20:31Z");
        EXPECT_EQ(tag->UnknownData(), "");
        EXPECT_EQ(tag->iTunesAffiliateID(), affiliate);
        EXPECT_EQ(tag->iTunesSongID(), songId);
        EXPECT_EQ(tag->iTunesStorefrontID(), 143411U);
        EXPECT_FALSE(tag->NewTagFlag());
        EXPECT_FALSE(tag->Genre().empty());
        EXPECT_FALSE(tag->StationFrequency().empty());
        EXPECT_FALSE(tag->StationURL().empty());
    }
}
