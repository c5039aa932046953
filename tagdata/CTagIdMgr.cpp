#include "tagdata/CTagIdMgr.h"

#include <algorithm>
#include <utility>

namespace {

bool standsForNoDevice(unsigned int id) {
    return id == 0 || id == NODEVICE;
}

/** A separator would make the keys of existing files other keys. */
std::string keyOf(CTagIdInfo const& info) {
    return info.Name + info.Artist + info.iTunesSongID;
}

} // namespace

CTagIdInfo::CTagIdInfo(std::string name, std::string artist, std::string songId, std::string time)
    : Name(std::move(name)), Artist(std::move(artist)), iTunesSongID(std::move(songId)),
      Time(std::move(time)) {}

CTagIdBlock::CTagIdBlock(CTagIdInfo const& info) : mInfo(info) {}

bool CTagIdBlock::isDeviceExisted(unsigned int id) const {
    return std::find(mDeviceIds.begin(), mDeviceIds.end(), id) != mDeviceIds.end();
}

void CTagIdBlock::addDeviceId2Array(unsigned int id) {
    mDeviceIds.push_back(id);
}

void CTagIdBlock::removeDeviceId(unsigned int id) {
    mDeviceIds.erase(std::remove(mDeviceIds.begin(), mDeviceIds.end(), id), mDeviceIds.end());
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
    return repaired;
}

CTagIdManager::~CTagIdManager() {
    cleanupTagIdManager();
}

CTagIdBlock* CTagIdManager::findTagBlockByTagIdInfo(CTagIdInfo const& info) {
    // The subscript inserts what is missing; what the file writer meets depends on it.
    // Test: CTagIdManager.AMissLeavesAnEntryWithoutABlock.
    return mBlocks[keyOf(info)];
}

bool CTagIdManager::isTagIdExist(CTagIdInfo const& info, unsigned int deviceId) {
    CTagIdBlock const* const block = findTagBlockByTagIdInfo(info);
    return block != nullptr && block->isDeviceExisted(deviceId);
}

void CTagIdManager::addNewTagBlock(CTagIdBlock const* block) {
    mBlocks[keyOf(block->tagIdInfo())] = const_cast<CTagIdBlock*>(block);
}

CTagIdBlock* CTagIdManager::file(std::unique_ptr<CTagIdBlock> block) {
    CTagIdBlock*& slot = mBlocks[keyOf(block->tagIdInfo())];
    slot = block.release();
    return slot;
}

void CTagIdManager::addTagBlockByTagId(CTagIdInfo const& info) {
    mCurrentBlock = file(std::make_unique<CTagIdBlock>(info));
}

void CTagIdManager::addDeviceId2TagBlock(CTagIdInfo const& info, unsigned int deviceId) {
    CTagIdBlock* const block = findTagBlockByTagIdInfo(info);
    if (block == nullptr) {
        auto made = std::make_unique<CTagIdBlock>(info);
        made->addDeviceId2Array(deviceId);
        file(std::move(made));
    } else if (!block->isDeviceExisted(deviceId)) {
        block->addDeviceId2Array(deviceId);
    }
}

void CTagIdManager::addDeviceIds2TagBlock(CTagIdInfo const& info,
                                          std::vector<unsigned int>& deviceIds) {
    CTagIdBlock* const block = findTagBlockByTagIdInfo(info);
    if (block == nullptr) {
        auto made = std::make_unique<CTagIdBlock>(info);
        made->addDeviceIds(deviceIds);
        file(std::move(made));
    } else {
        block->addDeviceIds(deviceIds);
    }
}

void CTagIdManager::addNewTagIdInfo(CTagIdInfo const& info, unsigned int deviceId) {
    addDeviceId2TagBlock(info, deviceId);
}

void CTagIdManager::addNewTagIdInfo(CTagIdInfo const& info, std::vector<unsigned int>& deviceIds) {
    addDeviceIds2TagBlock(info, deviceIds);
}

void CTagIdManager::addDeviceId2CurTagBlock(unsigned int deviceId) {
    if (mCurrentBlock != nullptr) {
        addDeviceId2TagBlock(mCurrentBlock->tagIdInfo(), deviceId);
    }
}

void CTagIdManager::removeDeviceIdFromTagBlock(unsigned int deviceId, CTagIdInfo const& info) {
    if (CTagIdBlock* const block = findTagBlockByTagIdInfo(info)) {
        block->removeDeviceId(deviceId);
    }
}

void CTagIdManager::removeTagBlockByTagId(CTagIdInfo const& info) {
    mBlocks.erase(keyOf(info));
}

void CTagIdManager::cleanupTagIdManager() {
    for (auto const& entry : mBlocks) {
        std::unique_ptr<CTagIdBlock> const dropped(entry.second);
    }
    mBlocks.clear();
}
