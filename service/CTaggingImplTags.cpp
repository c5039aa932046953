// The operations on tags: each starts one piece of work, which opens the files through its own
// StoredTags and is gone when the operation returns. The steps stand with the work, in Storing and
// Transfer; here is only what the service lends it.
#include "service/CTaggingImpl.h"

#include "service/Guarded.h"
#include "service/JsonElements.h"
#include "service/Replies.h"
#include "service/StoredTags.h"
#include "service/Storing.h"
#include "service/Surroundings.h"
#include "service/Transfer.h"
#include "tagdata/CTagIdMgr.h"

namespace {

constexpr char CHECKTAGSOURCE[] = "CTaggingImpl_checkTag";

CTagIdInfo readIdentity(Json::Value const& json) {
    CTagIdInfo identity;
    identity.iTunesSongID = NOSONGID;
    readIfPresent(json, "Name", identity.Name);
    readIfPresent(json, "Artist", identity.Artist);
    readIfPresent(json, "iTunesSongID", identity.iTunesSongID);
    return identity;
}

} // namespace

Surroundings CTaggingImpl::surroundings() {
    return {mDevices, mTools, [this](int current) { sendLocalStatus(current, -1); },
            [this](EnuStatus status) { sendTransferStatus(status); }};
}

CTaggingImpl::EnuStatus CTaggingImpl::tagRequest(std::vector<_tag>& tags, int deviceId) {
    StoredTags stored(mDeviceId, mTools.DEBUG);
    Surroundings const around = surroundings();
    return Storing(stored, deviceId, around).run(tags);
}

void CTaggingImpl::ProcessStoredTags() {
    StoredTags stored(mDeviceId, mTools.DEBUG);
    Surroundings const around = surroundings();
    Transfer(stored, around).run();
}

void CTaggingImpl::UpdateIpodTagIds(XMLTools* xmlTools, CLinkedList<CTag>* tagList,
                                    CLinkedList<CAmbigTag>* ambigList,
                                    std::vector<CMediaDevice*>& devices) {
    if (xmlTools != nullptr) {
        recordForDevices(*xmlTools, tagList, ambigList, devices);
    }
}

CTaggingImpl::EnuStatus CTaggingImpl::clearAllLocalTags() {
    StoredTags stored(mDeviceId, mTools.DEBUG);
    bool const cleared = guarded([&] {
        stored.emptyFiles();
        sendLocalStatus(0, -1);
    });
    return cleared ? OK : ERROR;
}

CTaggingImpl::_Taggable CTaggingImpl::checkTag(Json::Value const& params) {
    log(CHECKTAGSOURCE, "Enter checkTag");
    _Taggable result;
    CTagIdInfo identity = readIdentity(Json::nullValue);
    Json::Value const tagInfo = params.get("tagInfo", Json::nullValue);
    if (hasElements(tagInfo)) {
        identity = readIdentity(tagInfo[0U]);
        result.Name = identity.Name;
        result.Artist = identity.Artist;
        result.iTunesSongID = identity.iTunesSongID;
    }
    int const deviceId = readDeviceId(params);
    log(CHECKTAGSOURCE, "Get Tag info data");
    StoredTags stored(mDeviceId, mTools.DEBUG);
    if (!stored.loadConfig()) {
        return result;
    }
    log(CHECKTAGSOURCE, "LoadConfig success!");
    if (stored.loadRegistry()) {
        log(CHECKTAGSOURCE, "LoadTagIdMgr success!");
        result.tagged = stored.isRecorded(identity, static_cast<unsigned int>(deviceId));
        log(CHECKTAGSOURCE, "isTagIdExist success!");
    }
    return result;
}
