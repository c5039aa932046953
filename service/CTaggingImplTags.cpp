// The operations on tags: each starts one piece of work, which opens the files through its own
// StoredTags and is gone when the operation returns. The steps stand with the work, in Storing and
// Transfer; here is only what the service lends it.
#include "service/CTaggingImpl.h"

#include "service/Guarded.h"
#include "service/StoredTags.h"
#include "service/Storing.h"
#include "service/Surroundings.h"
#include "service/Transfer.h"

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
