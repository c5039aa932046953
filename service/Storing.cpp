// What moves here is the list of all tags: those that waited in the files, then the new ones. The
// files are emptied first, and the lists in memory then go either to iPods or back to the files; a
// process that dies in between loses them. StoredTags owns the lists and the files, this object
// only says when each is written. It lives for one request.
//
// Which iPod gets the tags is the policy of the configuration: the first that takes them, all of
// them, or the one that the request names. A failed write stores locally at once and again at the
// end, so that the outcome for the client is made of both.
#include "service/Storing.h"

#include "files/CConfigInfo.h"
#include "service/TaggingCapability.h"
#include "tagdata/CTagException.h"

#include <cerrno>
#include <memory>

namespace {

/** A failed write that means the iPod has no room. */
bool isNoRoom(CTagException const& failure) {
    return failure.SystemError == ENOSPC || failure.SystemError == EINVAL;
}

} // namespace

Storing::Storing(StoredTags& stored, int deviceId, Surroundings const& around)
    : mStored(stored), mDeviceId(deviceId), mAround(around) {}

TaggingStatus::Number Storing::run(std::vector<RequestedTag> const& tags) {
    if (!mStored.loadConfig()) {
        return TaggingStatus::ERROR;
    }
    mStored.loadTags();
    log("Ambig Tag Count: " + stdTools::toString(mStored.ambigTags()->Count()));
    mTotal = mStored.total();
    log("Total Tags: " + stdTools::toString(mTotal));
    if (mTotal >= mStored.config().maxTagCount()) {
        return TaggingStatus::LOCAL_STORAGE_FULL;
    }
    mStored.emptyFiles();
    addNewTags(tags);
    log("Storing tags");
    if (!mAround.devices.empty()) {
        offerToDevices();
    }
    if (mPending) {
        storeLocally();
    }
    return mResult;
}

void Storing::addNewTags(std::vector<RequestedTag> const& tags) {
    if (tags.size() == 1) {
        log("Found Single");
        std::unique_ptr<CTag> record(tags.front().createCTag());
        record->NewTagFlag(true);
        mStored.tags()->AddRear(record.release());
        log("Initial tag count: " + stdTools::toString(mStored.tags()->Count()));
        return;
    }
    log("Found Fuzzy");
    for (RequestedTag const& tag : tags) {
        std::unique_ptr<CAmbigTag> record(tag.createCAmbigTag());
        record->NewTagFlag(true);
        mStored.ambigTags()->AddRear(record.release());
    }
}

void Storing::offerToDevices() {
    log("Backing up tags");
    for (CMediaDevice const* device : mAround.devices) {
        Next const next = chooseByPolicy(*device);
        if (next == Next::StopWalk) {
            return;
        }
        if (next == Next::WriteDevice) {
            writeDevice(*device);
        }
    }
    mForceLocal = true;
}

Storing::Next Storing::chooseByPolicy(CMediaDevice const& device) {
    CConfigInfo const& config = mStored.config();
    if (!config.multiples_enable()) {
        mForceLocal = true;
        return mPending ? Next::WriteDevice : Next::StopWalk;
    }
    if (config.multiples_choose() != SPECIFY) {
        mForceLocal = false;
        return Next::WriteDevice;
    }
    return chooseIfSpecified(device);
}

Storing::Next Storing::chooseIfSpecified(CMediaDevice const& device) {
    if (mDeviceId == 0) {
        mForceLocal = true;
        mResult = TaggingStatus::ERROR;
        return Next::StopWalk;
    }
    if (device.id() != mDeviceId) {
        return Next::NextDevice;
    }
    if (!supportsTagging(mAround.tools, device.mountPoint())) {
        mForceLocal = false;
        mResult = TaggingStatus::STOREDLOCAL_IPOD_INCOMPATIBLE;
        return Next::StopWalk;
    }
    mPending = false;
    mForceLocal = true;
    return Next::WriteDevice;
}

void Storing::writeDevice(CMediaDevice const& device) {
    try {
        log("Storing on iPod");
        mStored.writeToIpod(device.mountPoint(), recordedDevice());
        mStored.recordNewTags(recordedDevice());
        mPending = false;
        mResult = TaggingStatus::STORED_ON_TARGET;
        mAround.publishCurrent(0);
    } catch (CTagException* exception) {
        std::unique_ptr<CTagException> const failure(exception);
        if (mForceLocal) {
            storeAfterFailure();
            mResult = isNoRoom(*failure) ? TaggingStatus::TARGET_FULL : TaggingStatus::STORED_LOCAL;
        }
    }
}

void Storing::storeAfterFailure() {
    log("Failure writing to iPod. Storing Internally", stdTools::Error);
    log("re-storing Tags");
    mStored.writeTags(recordedDevice());
    log("re-storing Ambiguous Tags");
    mStored.writeAmbigTags(recordedDevice());
    recordStoredLocally();
}

void Storing::storeLocally() {
    log("Storing locally");
    mStored.writeTags(recordedDevice());
    mStored.writeAmbigTags(recordedDevice());
    recordStoredLocally();
    if (mForceLocal) {
        mResult = TaggingStatus::STORED_LOCAL;
    }
}

void Storing::recordStoredLocally() {
    mStored.recordNewTags(recordedDevice());
    mAround.publishCurrent(mTotal + mStored.newTagIdCount());
}

void Storing::log(std::string const& message, stdTools::ErrorLevel level) const {
    mAround.tools.Output("CTaggingImpl_tagRequest", message, level);
}

unsigned int Storing::recordedDevice() const {
    return static_cast<unsigned int>(mDeviceId);
}
