#include "tagdata/CTagIdMgr.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr unsigned int NO_DEVICE = 0xFFFFFFFF;

CTagIdInfo const SONG("Song", "Artist", "1", "2010/06/09/17");
CTagIdInfo const OTHER("Other", "Artist", "2", "");

CTagIdBlock blockWith(std::vector<unsigned int> const& devices) {
    CTagIdBlock block(SONG);
    for (unsigned int const device : devices) {
        block.addDeviceId2Array(device);
    }
    return block;
}

std::vector<std::string> keysOf(CTagIdManager const& manager) {
    std::vector<std::string> keys;
    for (auto const& entry : manager) {
        keys.push_back(entry.first);
    }
    return keys;
}

void add(CTagIdManager& manager, CTagIdInfo const& info, std::vector<unsigned int> devices) {
    manager.addDeviceIds2TagBlock(info, devices);
}

std::vector<unsigned int> devicesOf(CTagIdManager& manager, CTagIdInfo const& info) {
    CTagIdBlock const* const block = manager.findTagBlockByTagIdInfo(info);
    return block == nullptr ? std::vector<unsigned int>() : block->deviceIds();
}

} // namespace

TEST(CTagIdInfo, IsEmptyByDefault) {
    CTagIdInfo const info;
    EXPECT_EQ(info.Name + info.Artist + info.iTunesSongID + info.Time, "");
}

TEST(CTagIdInfo, CopiesAllFourTexts) {
    CTagIdInfo copy;
    copy = SONG;
    CTagIdInfo const& same = copy;
    copy = same;

    EXPECT_EQ(copy.Name, "Song");
    EXPECT_EQ(copy.Artist, "Artist");
    EXPECT_EQ(copy.iTunesSongID, "1");
    EXPECT_EQ(copy.Time, "2010/06/09/17");
}

TEST(CTagIdBlock, StartsWithItsOwnIdentityAndNoDevices) {
    CTagIdInfo info = SONG;
    CTagIdBlock const block(info);
    info.Name = "changed";

    EXPECT_EQ(block.tagIdInfo().Name, "Song");
    EXPECT_EQ(block.tagIdInfo().Time, "2010/06/09/17");
    EXPECT_THAT(block.deviceIds(), IsEmpty());
    EXPECT_FALSE(block.isDeviceExisted(0));
}

TEST(CTagIdBlock, AppendsTheSameDeviceTwiceAndRemovesBoth) {
    CTagIdBlock block = blockWith({5, 7, 5, 9});
    EXPECT_THAT(block.deviceIds(), ElementsAre(5, 7, 5, 9));
    EXPECT_TRUE(block.isDeviceExisted(5));

    block.removeDeviceId(5);
    EXPECT_THAT(block.deviceIds(), ElementsAre(7, 9));
    EXPECT_FALSE(block.isDeviceExisted(5));
}

/** The devices of a block, by nothing but a list. */
class ListOfDevices {
public:
    bool has(unsigned int id) const { return std::count(ids.begin(), ids.end(), id) != 0; }
    void remove(unsigned int id) { ids.erase(std::remove(ids.begin(), ids.end(), id), ids.end()); }
    void add(std::vector<unsigned int> const& more) {
        std::size_t repaired = 0;
        for (std::size_t slot = 0; slot < std::min(ids.size(), more.size()); ++slot) {
            if (ids[slot] == 0 || ids[slot] == 0xFFFFFFFF) {
                ids[slot] = more[slot];
                ++repaired;
            }
        }
        for (; repaired < more.size(); ++repaired) {
            if (!has(more[repaired])) {
                ids.push_back(more[repaired]);
            }
        }
    }

    std::vector<unsigned int> ids;
};

TEST(CTagIdBlock, ManyDevicesAreKeptAsInAPlainList) {
    std::mt19937 random(1); // NOLINT: the same devices in each run
    constexpr std::array<unsigned int, 4> ODD = {0, 0xFFFFFFFF, 1, 99};
    auto const device = [&] {
        return random() % 4 == 0 ? ODD[random() % ODD.size()]
                                 : static_cast<unsigned int>(random() % 100);
    };
    for (int run = 0; run < 50; ++run) {
        CTagIdBlock block(SONG);
        ListOfDevices list;
        for (int step = 0; step < 300; ++step) {
            unsigned int const id = device();
            // In every second run they never get many for long.
            switch (random() % (run % 2 == 0 ? 4 : 2)) {
            case 0:
                block.removeDeviceId(id);
                list.remove(id);
                break;
            case 1: {
                std::vector<unsigned int> const ids = {id, device(), device()};
                block.addDeviceIds(ids);
                list.add(ids);
                break;
            }
            default:
                block.addDeviceId2Array(id);
                list.ids.push_back(id);
            }
            ASSERT_EQ(block.deviceIds(), list.ids);
            unsigned int const asked = device();
            ASSERT_EQ(block.isDeviceExisted(asked), list.has(asked)) << asked;
        }
    }
}

TEST(CTagIdBlock, RemovingAnUnknownDeviceChangesNothing) {
    CTagIdBlock block = blockWith({7});
    block.removeDeviceId(8);
    EXPECT_THAT(block.deviceIds(), ElementsAre(7));
}

TEST(CTagIdManager, AMissLeavesAnEntryWithoutABlock) {
    CTagIdManager manager;

    EXPECT_FALSE(manager.isTagIdExist(SONG, 7));

    ASSERT_THAT(keysOf(manager), ElementsAre("SongArtist1"));
    EXPECT_EQ(manager.begin()->second, nullptr);
}

TEST(CTagIdManager, AnAddAfterAMissFillsThatEntry) {
    CTagIdManager manager;
    manager.isTagIdExist(SONG, 7);

    manager.addDeviceId2TagBlock(SONG, 7);

    EXPECT_EQ(manager.size(), 1U);
    EXPECT_TRUE(manager.isTagIdExist(SONG, 7));
}

TEST(CTagIdManager, KnowsADeviceOnlyForTheIdentityItWasAddedTo) {
    CTagIdManager manager;
    manager.addDeviceId2TagBlock(SONG, 7);

    EXPECT_TRUE(manager.isTagIdExist(SONG, 7));
    EXPECT_FALSE(manager.isTagIdExist(SONG, 8));
    EXPECT_FALSE(manager.isTagIdExist(CTagIdInfo("Other", "Artist", "1", ""), 7));
}

TEST(CTagIdManager, IdentitiesThatJoinToOneTextAreOne) {
    CTagIdManager manager;
    manager.addDeviceId2TagBlock(CTagIdInfo("ab", "c", "", ""), 7);

    EXPECT_TRUE(manager.isTagIdExist(CTagIdInfo("a", "bc", "", ""), 7));
    EXPECT_TRUE(manager.isTagIdExist(CTagIdInfo("", "", "abc", ""), 7));
    EXPECT_EQ(manager.size(), 1U);
}

TEST(CTagIdManager, TheTimeOfTheFirstOneStays) {
    CTagIdManager manager;
    manager.addDeviceId2TagBlock(CTagIdInfo("Song", "Artist", "1", "first"), 7);
    manager.addDeviceId2TagBlock(CTagIdInfo("Song", "Artist", "1", "second"), 8);
    add(manager, CTagIdInfo("Song", "Artist", "1", "third"), {9});

    CTagIdBlock const* const block = manager.findTagBlockByTagIdInfo(SONG);
    EXPECT_EQ(block->tagIdInfo().Time, "first");
    EXPECT_THAT(block->deviceIds(), ElementsAre(7, 8, 9));
}

TEST(CTagIdManager, ADeviceIsListedOnce) {
    CTagIdManager manager;
    manager.addDeviceId2TagBlock(SONG, 7);
    manager.addDeviceId2TagBlock(SONG, 7);

    EXPECT_THAT(devicesOf(manager, SONG), ElementsAre(7));
}

TEST(CTagIdManager, AListForANewIdentityIsAddedWithoutDuplicates) {
    CTagIdManager manager;
    std::vector<unsigned int> devices = {3, 0, 3, NO_DEVICE, 0};

    manager.addDeviceIds2TagBlock(SONG, devices);

    EXPECT_THAT(devicesOf(manager, SONG), ElementsAre(3, 0, NO_DEVICE));
    EXPECT_THAT(devices, ElementsAre(3, 0, 3, NO_DEVICE, 0));
}

TEST(CTagIdManager, AnEmptyListStillMakesTheBlock) {
    CTagIdManager manager;
    add(manager, SONG, {});

    ASSERT_NE(manager.findTagBlockByTagIdInfo(SONG), nullptr);
    EXPECT_THAT(devicesOf(manager, SONG), IsEmpty());
    EXPECT_EQ(manager.findTagBlockByTagIdInfo(SONG)->tagIdInfo().Time, SONG.Time);
}

TEST(CTagIdManager, ARepairedSlotTakesTheIdOfItsOwnIndex) {
    CTagIdManager manager;
    manager.addNewTagBlock(std::make_unique<CTagIdBlock>(blockWith({7, 0, 9})).release());

    add(manager, SONG, {1, 2, 3});

    EXPECT_THAT(devicesOf(manager, SONG), ElementsAre(7, 2, 9, 3));
}

struct Repair {
    std::vector<unsigned int> before;
    std::vector<unsigned int> incoming;
    std::vector<unsigned int> after;
};

class CTagIdManagerRepairs : public testing::TestWithParam<Repair> {};

TEST_P(CTagIdManagerRepairs, SlotsThatStandForNoDevice) {
    CTagIdManager manager;
    manager.addNewTagBlock(std::make_unique<CTagIdBlock>(blockWith(GetParam().before)).release());

    add(manager, SONG, GetParam().incoming);

    EXPECT_EQ(devicesOf(manager, SONG), GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(
    Lists, CTagIdManagerRepairs,
    testing::Values(Repair{{7, 9}, {9, 8}, {7, 9, 8}}, Repair{{7, 0, 9}, {}, {7, 0, 9}},
                    Repair{{0, NO_DEVICE}, {4, 5}, {4, 5}},
                    Repair{{NO_DEVICE, 8}, {4, 5, 6}, {4, 8, 5, 6}},
                    // A slot beyond the incoming list keeps its value and does not count.
                    Repair{{7, 8, 0}, {4}, {7, 8, 0, 4}}, Repair{{0, 7, 0}, {4}, {4, 7, 0}},
                    // A slot may be repaired with what stands for no device again.
                    Repair{{0}, {0, 5}, {0, 5}}));

TEST(CTagIdManager, TheTwoNamesOfAddingDoTheSame) {
    CTagIdManager manager;
    std::vector<unsigned int> more = {7, 8};

    manager.addNewTagIdInfo(SONG, 7);
    manager.addNewTagIdInfo(SONG, more);

    EXPECT_THAT(devicesOf(manager, SONG), ElementsAre(7, 8));
}

TEST(CTagIdManager, TheCurrentBlockIsTheOneLastMadeByItsIdentity) {
    CTagIdManager manager;
    manager.addTagBlockByTagId(OTHER);
    manager.addTagBlockByTagId(SONG);
    manager.addDeviceId2CurTagBlock(7);

    EXPECT_THAT(devicesOf(manager, SONG), ElementsAre(7));
    EXPECT_THAT(devicesOf(manager, OTHER), IsEmpty());
}

struct OtherWay {
    char const* name;
    void (*make)(CTagIdManager& manager);
};

class CTagIdManagerOtherBlocks : public testing::TestWithParam<OtherWay> {};

TEST_P(CTagIdManagerOtherBlocks, LeaveTheCurrentBlockWhatItWas) {
    CTagIdManager manager;
    manager.addTagBlockByTagId(SONG);
    GetParam().make(manager);
    manager.addDeviceId2CurTagBlock(7);

    EXPECT_THAT(devicesOf(manager, SONG), ElementsAre(7));
    EXPECT_THAT(devicesOf(manager, OTHER), ElementsAre(1));
}

INSTANTIATE_TEST_SUITE_P(
    Ways, CTagIdManagerOtherBlocks,
    testing::Values(
        OtherWay{"addNewTagBlock",
                 [](CTagIdManager& manager) {
                     auto block = std::make_unique<CTagIdBlock>(OTHER);
                     block->addDeviceId2Array(1);
                     manager.addNewTagBlock(block.release());
                 }},
        OtherWay{"addDeviceId2TagBlock",
                 [](CTagIdManager& manager) { manager.addDeviceId2TagBlock(OTHER, 1); }},
        OtherWay{"addDeviceIds2TagBlock", [](CTagIdManager& manager) { add(manager, OTHER, {1}); }},
        // And on an entry that is there already.
        OtherWay{"addDeviceId2TagBlockTwice",
                 [](CTagIdManager& manager) {
                     manager.addDeviceId2TagBlock(OTHER, 1);
                     manager.addDeviceId2TagBlock(OTHER, 1);
                 }},
        OtherWay{"addDeviceIds2TagBlockTwice",
                 [](CTagIdManager& manager) {
                     add(manager, OTHER, {1});
                     add(manager, OTHER, {1});
                 }}),
    [](auto const& way) { return std::string(way.param.name); });

TEST(CTagIdManager, TheCurrentBlockStandsForItsIdentity) {
    CTagIdManager manager;
    manager.addTagBlockByTagId(SONG);
    std::unique_ptr<CTagIdBlock> const replaced(manager.findTagBlockByTagIdInfo(SONG));
    manager.addNewTagBlock(std::make_unique<CTagIdBlock>(blockWith({1})).release());

    manager.addDeviceId2CurTagBlock(7);

    EXPECT_THAT(devicesOf(manager, SONG), ElementsAre(1, 7));
    EXPECT_THAT(replaced->deviceIds(), IsEmpty());
}

TEST(CTagIdManager, ADeviceOfACurrentBlockThatWasTakenOutMakesItsEntryAnew) {
    CTagIdManager manager;
    manager.addTagBlockByTagId(SONG);
    std::unique_ptr<CTagIdBlock> const removed(manager.findTagBlockByTagIdInfo(SONG));
    manager.removeTagBlockByTagId(SONG);

    manager.addDeviceId2CurTagBlock(7);
    manager.addDeviceId2CurTagBlock(8);

    EXPECT_THAT(devicesOf(manager, SONG), ElementsAre(7, 8));
    EXPECT_THAT(removed->deviceIds(), IsEmpty());
}

TEST(CTagIdManager, AnIdentityThatHasABlockDoesNotBecomeCurrentAsNew) {
    CTagIdManager manager;
    manager.addTagBlockIfNew(CTagIdInfo(OTHER));
    manager.addTagBlockIfNew(CTagIdInfo(SONG));
    manager.addTagBlockIfNew(CTagIdInfo(OTHER));

    manager.addDeviceId2CurTagBlock(7);

    EXPECT_THAT(devicesOf(manager, SONG), ElementsAre(7));
    EXPECT_THAT(devicesOf(manager, OTHER), IsEmpty());
    EXPECT_EQ(manager.findTagBlockByTagIdInfo(SONG)->tagIdInfo().Time, SONG.Time);
}

TEST(CTagIdManager, AnIdentityThatWasMissedIsNewAllTheSame) {
    CTagIdManager manager;
    EXPECT_FALSE(manager.isTagIdExist(SONG, 7));
    manager.addTagBlockIfNew(CTagIdInfo(SONG));
    EXPECT_NE(manager.findTagBlockByTagIdInfo(SONG), nullptr);
    EXPECT_EQ(manager.size(), 1U);
}

TEST(CTagIdManager, ADeviceWithoutACurrentBlockIsIgnored) {
    CTagIdManager manager;
    manager.addDeviceId2CurTagBlock(7);
    EXPECT_EQ(manager.size(), 0U);
}

TEST(CTagIdManager, ARemovedDeviceLeavesTheEntryInPlace) {
    CTagIdManager manager;
    manager.addDeviceId2TagBlock(SONG, 7);

    manager.removeDeviceIdFromTagBlock(7, SONG);

    EXPECT_NE(manager.findTagBlockByTagIdInfo(SONG), nullptr);
    EXPECT_THAT(devicesOf(manager, SONG), IsEmpty());
}

TEST(CTagIdManager, RemovingADeviceOfAnUnknownIdentityIsAMiss) {
    CTagIdManager manager;
    manager.removeDeviceIdFromTagBlock(7, SONG);

    ASSERT_EQ(manager.size(), 1U);
    EXPECT_EQ(manager.begin()->second, nullptr);
}

TEST(CTagIdManager, ARemovedEntryIsGoneAndItsBlockStaysAlive) {
    CTagIdManager manager;
    manager.addDeviceId2TagBlock(SONG, 7);
    manager.addDeviceId2TagBlock(CTagIdInfo("Other", "", "", ""), 8);
    std::unique_ptr<CTagIdBlock> const removed(manager.findTagBlockByTagIdInfo(SONG));

    manager.removeTagBlockByTagId(SONG);

    EXPECT_THAT(keysOf(manager), ElementsAre("Other"));
    EXPECT_THAT(removed->deviceIds(), ElementsAre(7));
}

TEST(CTagIdManager, RemovingAnUnknownEntryLeavesNoTrace) {
    CTagIdManager manager;
    manager.removeTagBlockByTagId(SONG);
    EXPECT_EQ(manager.size(), 0U);
}

TEST(CTagIdManager, EntriesStandInTheOrderOfTheirKeysByteByByte) {
    CTagIdManager manager;
    for (char const* const name : {"b", "\xC3\xA9", "a", "B", ""}) {
        manager.addDeviceId2TagBlock(CTagIdInfo(name, "", "", ""), 1);
    }
    EXPECT_THAT(keysOf(manager), ElementsAre("", "B", "a", "b", "\xC3\xA9"));
}

TEST(CTagIdManager, CleaningUpEmptiesTheRegistryAndItCanBeFilledAgain) {
    CTagIdManager manager;
    manager.addDeviceId2TagBlock(SONG, 7);
    manager.findTagBlockByTagIdInfo(CTagIdInfo("missed", "", "", ""));

    manager.cleanupTagIdManager();
    EXPECT_EQ(manager.size(), 0U);

    manager.addDeviceId2TagBlock(SONG, 8);
    EXPECT_THAT(devicesOf(manager, SONG), ElementsAre(8));
}
