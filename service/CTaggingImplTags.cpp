// The operations on tags: each starts one piece of work, which opens the files through its own
// StoredTags and is gone when the operation returns. The steps stand with the work, in Storing;
// here is only what the service lends it.
#include "service/CTaggingImpl.h"

#include "service/StoredTags.h"
#include "service/Storing.h"
#include "service/Surroundings.h"

Surroundings CTaggingImpl::surroundings() {
    return {mDevices, mTools, [this](int current) { sendLocalStatus(current, -1); },
            [this](EnuStatus status) { sendTransferStatus(status); }};
}

CTaggingImpl::EnuStatus CTaggingImpl::tagRequest(std::vector<_tag>& tags, int deviceId) {
    StoredTags stored(mDeviceId, mTools.DEBUG);
    Surroundings const around = surroundings();
    return Storing(stored, deviceId, around).run(tags);
}
