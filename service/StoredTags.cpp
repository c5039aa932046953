#include "service/StoredTags.h"

#include "service/Guarded.h"
#include "service/MediaDevice.h"
#include "tagdata/CTagIdMgr.h"

namespace {

template <class Tag, class Load>
ListOwner<Tag> loadOrEmpty(Load load) {
    ListOwner<Tag> list = makeList<Tag>();
    guarded([&] { list.reset(load()); });
    return list;
}

} // namespace

StoredTags::StoredTags(unsigned int deviceId, bool debug) : mXml(deviceId, debug) {}

bool StoredTags::loadConfig() {
    mConfig.reset(mXml.LoadConfig());
    return mConfig != nullptr;
}

void StoredTags::loadTags() {
    mTags = loadOrEmpty<CTag>([this] { return mXml.LoadTags(); });
    mAmbigTags = loadOrEmpty<CAmbigTag>([this] { return mXml.LoadAmbigTags(); });
    guarded([this] { mXml.LoadTagIdMgr(); });
}

void StoredTags::loadTagsOrThrow() {
    mTags.reset(mXml.LoadTags());
    mAmbigTags.reset(mXml.LoadAmbigTags());
    mXml.LoadTagIdMgr();
}

bool StoredTags::loadRegistry() {
    mRegistry = mXml.LoadTagIdMgr();
    return mRegistry != nullptr;
}

int StoredTags::records() const {
    return static_cast<int>(mTags->Count() + mAmbigTags->Count());
}

int StoredTags::total() const {
    return static_cast<int>(mTags->Count() + mAmbigTags->Count() / 2);
}

void StoredTags::emptyFiles() {
    mXml.WriteTagXML(nullptr, NODEVICE);
    mXml.WriteAmbigTagXML(nullptr, NODEVICE);
}

void StoredTags::writeTags(unsigned int deviceId) {
    mXml.WriteTagXML(mTags.get(), deviceId);
}

void StoredTags::writeAmbigTags(unsigned int deviceId) {
    mXml.WriteAmbigTagXML(mAmbigTags.get(), deviceId);
}

void StoredTags::recordNewTags(unsigned int deviceId) {
    mXml.WriteTagIdMgrXML(mTags.get(), mAmbigTags.get(), deviceId);
}

int StoredTags::newTagIdCount() const {
    return mXml.newTagIdCount;
}

bool StoredTags::isRecorded(CTagIdInfo const& identity, unsigned int deviceId) const {
    return mRegistry->isTagIdExist(identity, deviceId);
}

void StoredTags::recordForDevices(std::vector<CMediaDevice*> const& devices) {
    ::recordForDevices(mXml, mTags.get(), mAmbigTags.get(), devices);
}

void StoredTags::writeToIpod(std::string const& mountPoint, unsigned int deviceId) {
    mXml.CraftAppleXML(mConfig.get(), mTags.get(), mAmbigTags.get(), mountPoint, deviceId);
}

void recordForDevices(XMLTools& xml, CLinkedList<CTag>* tags, CLinkedList<CAmbigTag>* ambigTags,
                      std::vector<CMediaDevice*> const& devices) {
    std::vector<unsigned int> ids;
    for (CMediaDevice const* device : devices) {
        if (device != nullptr) {
            ids.push_back(static_cast<unsigned int>(device->id()));
        }
    }
    xml.UpdateTagIds(tags, ambigTags, ids);
    xml.WriteTagIdMgrXML();
}
