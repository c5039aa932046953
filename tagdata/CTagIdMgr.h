#pragma once

#include <map>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

/** The device id that names no device. */
constexpr unsigned int NODEVICE = 0xFFFFFFFF;

/** The identity of a tag, and when it was recorded. */
class CTagIdInfo {
public:
    CTagIdInfo() = default;
    CTagIdInfo(std::string name, std::string artist, std::string songId, std::string time);

    std::string Name;
    std::string Artist;
    std::string iTunesSongID;
    std::string Time; ///< no part of the identity; empty when unknown
};

/** One entry of the registry: an identity and the devices that carry it, in order of arrival. */
class CTagIdBlock {
public:
    explicit CTagIdBlock(CTagIdInfo const& info);
    explicit CTagIdBlock(CTagIdInfo&& info);

    bool isDeviceExisted(unsigned int id) const;
    /** Appends without looking for a duplicate. */
    void addDeviceId2Array(unsigned int id);
    /** Removes every occurrence. */
    void removeDeviceId(unsigned int id);

    /**
     * Adds a list of devices: first each slot that stands for no device takes the incoming id of
     * its own index, then the list from the number of slots so filled on is appended, without what
     * is there already.
     */
    void addDeviceIds(std::vector<unsigned int> const& ids);

    CTagIdInfo const& tagIdInfo() const { return mInfo; }
    std::vector<unsigned int> const& deviceIds() const { return mDeviceIds; }

private:
    std::size_t repairSlots(std::vector<unsigned int> const& ids);
    void indexAll();

    CTagIdInfo mInfo;
    std::vector<unsigned int> mDeviceIds;
    /** The same devices, to be found at once; empty while they are few. */
    std::unordered_set<unsigned int> mIndex;
};

/**
 * Registry of which tag went to which device.
 *
 * The key of an entry is name, artist and song id joined without anything between them. Looking an
 * unknown identity up leaves an entry without a block behind. Nothing is ever reported as an error.
 */
class CTagIdManager {
public:
    /** From key to block, ordered by key. A block may be null. */
    using Blocks = std::map<std::string, CTagIdBlock*>;

    CTagIdManager() = default;
    CTagIdManager(CTagIdManager const&) = delete;
    CTagIdManager& operator=(CTagIdManager const&) = delete;
    ~CTagIdManager();

    /** The block of an identity, which stays the registry's; null if there is none. */
    CTagIdBlock* findTagBlockByTagIdInfo(CTagIdInfo const& info);
    /** Whether that device is listed for that identity. */
    bool isTagIdExist(CTagIdInfo const& info, unsigned int deviceId);

    /** Files a block and takes it over. A block it replaces is forgotten, not freed. */
    void addNewTagBlock(CTagIdBlock const* block);
    /** Files a new block without devices and makes it current. */
    void addTagBlockByTagId(CTagIdInfo const& info);
    /** The same for an identity that has no block yet; nothing for one that has. */
    void addTagBlockIfNew(CTagIdInfo&& info);
    /** Adds one device to an identity, once. Only a new block takes over the info's Time. */
    void addDeviceId2TagBlock(CTagIdInfo const& info, unsigned int deviceId);
    /** Adds devices as CTagIdBlock::addDeviceIds does. The list stays as it is. */
    void addDeviceIds2TagBlock(CTagIdInfo const& info, std::vector<unsigned int>& deviceIds);
    void addNewTagIdInfo(CTagIdInfo const& info, unsigned int deviceId);
    void addNewTagIdInfo(CTagIdInfo const& info, std::vector<unsigned int>& deviceIds);
    /**
     * addDeviceId2TagBlock for the identity of the current block; nothing if there never was one.
     * Undefined from when the current block is freed, by cleanupTagIdManager or by its holder after
     * a removal or a replacement, until addTagBlockByTagId makes another one: the pointer is kept.
     */
    void addDeviceId2CurTagBlock(unsigned int deviceId);

    void removeDeviceIdFromTagBlock(unsigned int deviceId, CTagIdInfo const& info);
    /** Takes the entry out. Its block is not freed: it is the caller's who holds its pointer. */
    void removeTagBlockByTagId(CTagIdInfo const& info);
    /** Frees all blocks and empties the registry. */
    void cleanupTagIdManager();

    Blocks::const_iterator begin() const { return mBlocks.begin(); }
    Blocks::const_iterator end() const { return mBlocks.end(); }
    std::size_t size() const { return mBlocks.size(); }

private:
    CTagIdBlock*& slotOf(CTagIdInfo const& info);
    void makeCurrent(CTagIdBlock*& slot, std::unique_ptr<CTagIdBlock> block);

    Blocks mBlocks;
    CTagIdBlock* mCurrentBlock = nullptr;
    /** Where the map has the current block, or what replaced it; null once that entry is gone. */
    CTagIdBlock** mCurrentSlot = nullptr;
};
