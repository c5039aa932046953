#include "tagdata/CTagIdMgr.h"

#include <algorithm>
#include <utility>

namespace {

/** So many devices are found as soon by a look at each. */
constexpr std::size_t FEW = 32;

bool standsForNoDevice(unsigned int id) {
    return id == 0 || id == NODEVICE;
}

/** A separator would make the keys of existing files other keys. */
std::string keyOf(CTagIdInfo const& info) {
    std::string key;
    key.reserve(info.Name.size() + info.Artist.size() + info.iTunesSongID.size());
    return key.append(info.Name).append(info.Artist).append(info.iTunesSongID);
}

void addDevice(CTagIdBlock*& slot, CTagIdInfo const& info, unsigned int id) {
    if (slot == nullptr) {
        slot = std::make_unique<CTagIdBlock>(info).release();
    }
    if (!slot->isDeviceExisted(id)) {
        slot->addDeviceId2Array(id);
    }
}

} // namespace

CTagIdInfo::CTagIdInfo(std::string name, std::string artist, std::string songId, std::string time)
    : Name(std::move(name)), Artist(std::move(artist)), iTunesSongID(std::move(songId)),
      Time(std::move(time)) {}

CTagIdBlock::CTagIdBlock(CTagIdInfo const& info) : mInfo(info) {}
CTagIdBlock::CTagIdBlock(CTagIdInfo&& info) : mInfo(std::move(info)) {}

bool CTagIdBlock::isDeviceExisted(unsigned int id) const {
    if (mDeviceIds.size() > FEW) {
        return mIndex.count(id) != 0;
    }
    return std::find(mDeviceIds.begin(), mDeviceIds.end(), id) != mDeviceIds.end();
}

void CTagIdBlock::addDeviceId2Array(unsigned int id) {
    mDeviceIds.push_back(id);
    if (mIndex.empty()) {
        indexAll();
    } else {
        mIndex.insert(id);
    }
}

void CTagIdBlock::removeDeviceId(unsigned int id) {
    mDeviceIds.erase(std::remove(mDeviceIds.begin(), mDeviceIds.end(), id), mDeviceIds.end());
    indexAll();
}

void CTagIdBlock::indexAll() {
    mIndex.clear();
    if (mDeviceIds.size() > FEW) {
        mIndex.insert(mDeviceIds.begin(), mDeviceIds.end());
    }
}

void CTagIdBlock::addDeviceIds(std::vector<unsigned int> const& ids) {
    for (std::size_t next = repairSlots(ids); next < ids.size(); ++next) {
        if (!isDeviceExisted(ids[next])) {
            addDeviceId2Array(ids[next]);
        }
    }
}

std::size_t CTagIdBlock::repairSlots(std::vector<unsigned int> const& ids) {
    // A slot takes the id of its own index and not the next one in line; the ids that the count
    // then skips are lost. Test: CTagIdManager.ARepairedSlotTakesTheIdOfItsOwnIndex.
    std::size_t repaired = 0;
    std::size_t const shared = std::min(ids.size(), mDeviceIds.size());
    for (std::size_t slot = 0; slot < shared; ++slot) {
        if (standsForNoDevice(mDeviceIds[slot])) {
            mDeviceIds[slot] = ids[slot];
            ++repaired;
        }
    }
    if (repaired != 0) {
        indexAll();
    }
    return repaired;
}

CTagIdManager::~CTagIdManager() {
    cleanupTagIdManager();
}

/** The files are written in the order of the keys, so the end is where a new entry belongs. */
CTagIdBlock*& CTagIdManager::slotOf(CTagIdInfo const& info) {
    return mBlocks.try_emplace(mBlocks.end(), keyOf(info), nullptr)->second;
}

CTagIdBlock* CTagIdManager::findTagBlockByTagIdInfo(CTagIdInfo const& info) {
    // The slot of what is missing is made; what the file writer meets depends on it.
    // Test: CTagIdManager.AMissLeavesAnEntryWithoutABlock.
    return slotOf(info);
}

bool CTagIdManager::isTagIdExist(CTagIdInfo const& info, unsigned int deviceId) {
    CTagIdBlock const* const block = findTagBlockByTagIdInfo(info);
    return block != nullptr && block->isDeviceExisted(deviceId);
}

void CTagIdManager::addNewTagBlock(CTagIdBlock const* block) {
    slotOf(block->tagIdInfo()) = const_cast<CTagIdBlock*>(block);
}

void CTagIdManager::makeCurrent(CTagIdBlock*& slot, std::unique_ptr<CTagIdBlock> block) {
    slot = block.release();
    mCurrentBlock = slot;
    mCurrentSlot = &slot;
}

void CTagIdManager::addTagBlockByTagId(CTagIdInfo const& info) {
    makeCurrent(slotOf(info), std::make_unique<CTagIdBlock>(info));
}

void CTagIdManager::addTagBlockIfNew(CTagIdInfo&& info) {
    CTagIdBlock*& slot = slotOf(info);
    if (slot == nullptr) {
        makeCurrent(slot, std::make_unique<CTagIdBlock>(std::move(info)));
    }
}

void CTagIdManager::addDeviceId2TagBlock(CTagIdInfo const& info, unsigned int deviceId) {
    addDevice(slotOf(info), info, deviceId);
}

void CTagIdManager::addDeviceIds2TagBlock(CTagIdInfo const& info,
                                          std::vector<unsigned int>& deviceIds) {
    CTagIdBlock*& slot = slotOf(info);
    if (slot == nullptr) {
        slot = std::make_unique<CTagIdBlock>(info).release();
    }
    slot->addDeviceIds(deviceIds);
}

void CTagIdManager::addNewTagIdInfo(CTagIdInfo const& info, unsigned int deviceId) {
    addDeviceId2TagBlock(info, deviceId);
}

void CTagIdManager::addNewTagIdInfo(CTagIdInfo const& info, std::vector<unsigned int>& deviceIds) {
    addDeviceIds2TagBlock(info, deviceIds);
}

void CTagIdManager::addDeviceId2CurTagBlock(unsigned int deviceId) {
    // By its place: another block may stand there by now, and then it is that one's device.
    // Test: CTagIdManager.TheCurrentBlockStandsForItsIdentity.
    if (mCurrentSlot != nullptr) {
        addDevice(*mCurrentSlot, mCurrentBlock->tagIdInfo(), deviceId);
    } else if (mCurrentBlock != nullptr) {
        addDeviceId2TagBlock(mCurrentBlock->tagIdInfo(), deviceId);
    }
}

void CTagIdManager::removeDeviceIdFromTagBlock(unsigned int deviceId, CTagIdInfo const& info) {
    if (CTagIdBlock* const block = findTagBlockByTagIdInfo(info)) {
        block->removeDeviceId(deviceId);
    }
}

void CTagIdManager::removeTagBlockByTagId(CTagIdInfo const& info) {
    auto const found = mBlocks.find(keyOf(info));
    if (found == mBlocks.end()) {
        return;
    }
    if (mCurrentSlot == &found->second) {
        mCurrentSlot = nullptr;
    }
    mBlocks.erase(found);
}

void CTagIdManager::cleanupTagIdManager() {
    for (auto const& entry : mBlocks) {
        std::unique_ptr<CTagIdBlock> const dropped(entry.second);
    }
    mBlocks.clear();
    mCurrentSlot = nullptr;
}
