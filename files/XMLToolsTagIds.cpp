// The record of which tag went to which device: from the tag lists into the registry, and from the
// registry into TaggedInfo.xml. Old entries fall out when the file is written, never in memory.
#include "files/XMLTools.h"

#include "FileNames.h"
#include "Speaker.h"
#include "files/CParseTagId.h"
#include "tagdata/CAmbigTag.h"
#include "tagdata/CTagIdMgr.h"

#include <fstream>

namespace {

CTagIdInfo identityOf(CTag const& tag, std::string time = {}) {
    return {tag.Name(), tag.Artist(), tag.iTunesSongID(), std::move(time)};
}

/** Nothing is escaped here: names reach the file as the registry has them. */
void appendEntry(std::string& text, CTagIdBlock const& block) {
    CTagIdInfo const& info = block.tagIdInfo();
    text.append("  <TagId Name=\"").append(info.Name);
    text.append("\" Artist=\"").append(info.Artist);
    text.append("\" iTunesSongID=\"").append(info.iTunesSongID);
    text.append("\" Time=\"").append(info.Time).append("\">\n");
    for (unsigned int const id : block.deviceIds()) {
        text.append("    <DeviceId>").append(stdTools::toString(id)).append("</DeviceId>\n");
    }
    text.append("  </TagId>\n");
}

std::string textOf(CTagIdManager const& manager) {
    OldTagIds old;
    std::string text = LOCAL_FILE_HEAD;
    for (auto const& [key, block] : manager) {
        // A look-up that missed leaves an entry without a block, which has nothing to write.
        if (block != nullptr && !old.include(block->tagIdInfo().Time)) {
            appendEntry(text, *block);
        }
    }
    return text.append(LOCAL_FILE_END);
}

/** Records the new tags of a list. @return how many the device did not have yet */
template <class Tag>
int recordNewTags(CTagIdManager& manager, CLinkedList<Tag> const& tags, unsigned int deviceId,
                  std::string const& now) {
    int added = 0;
    for (Tag const* const tag : tags) {
        if (!tag->NewTagFlag()) {
            continue;
        }
        CTagIdInfo const info = identityOf(*tag, now);
        if (!manager.isTagIdExist(info, deviceId)) {
            ++added;
        }
        manager.addNewTagIdInfo(info, deviceId);
    }
    return added;
}

template <class Tag>
void recordDelivery(CTagIdManager& manager, CLinkedList<Tag> const& tags,
                    std::vector<unsigned int>& deviceIds) {
    for (Tag const* const tag : tags) {
        // Without a time, so an entry that is made here never gets too old.
        // Test: TagIdFile.AnEntryOfUpdateTagIdsHasNoTimeAndNeverAges.
        manager.addNewTagIdInfo(identityOf(*tag), deviceIds);
    }
}

} // namespace

void XMLTools::WriteTagIdMgrXML() {
    Speaker const speaker(log, "XMLTools_WriteTagIdMgrXML");
    // Composed before the file is touched: an entry that cannot be dated leaves the old file.
    std::string const text = textOf(*mTagIdManager);
    speaker.say("Target file: " + taggedInfoFilePath);
    std::ofstream file(taggedInfoFilePath);
    speaker.say("Outfile Opened");
    file << text;
    speaker.say("Closing file");
    file.close();
    speaker.say("Finished");
}

void XMLTools::WriteTagIdMgrXML(CLinkedList<CTag>* tags, CLinkedList<CAmbigTag>* ambigTags,
                                unsigned int deviceId) {
    log.Output("XMLTools_WriteTagIdMgrXML", "fired", stdTools::Message);
    if (mTagIdManager == nullptr) {
        mTagIdManager = makeTagIdManager();
    }
    InitTagIdMgr(tags, ambigTags, deviceId);
    WriteTagIdMgrXML();
}

void XMLTools::InitTagIdMgr(CLinkedList<CTag>* tags, CLinkedList<CAmbigTag>* ambigTags,
                            unsigned int deviceId) {
    std::string const now = CParseTagId::getCurrentTime();
    newTagIdCount += recordNewTags(*mTagIdManager, *tags, deviceId, now);
    // Two candidates are one tag: the sum over the list is halved.
    // Test: TagIdFile.AmbiguousTagsCountHalf.
    newTagIdCount += recordNewTags(*mTagIdManager, *ambigTags, deviceId, now) / 2;
}

void XMLTools::UpdateTagIds(CLinkedList<CTag>* tags, CLinkedList<CAmbigTag>* ambigTags,
                            std::vector<unsigned int>& deviceIds) {
    recordDelivery(*mTagIdManager, *tags, deviceIds);
    recordDelivery(*mTagIdManager, *ambigTags, deviceIds);
}

bool XMLTools::IsAlreadyTagged(CTag* tag, unsigned int deviceId) {
    return mTagIdManager->isTagIdExist(identityOf(*tag), deviceId);
}

bool XMLTools::isForDevice(CTag* tag, unsigned int deviceId) {
    // The registry is asked for a new tag only: for the others there need not be one.
    return !(tag->NewTagFlag() && IsAlreadyTagged(tag, deviceId));
}
