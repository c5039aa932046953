// What moves here is the list of waiting tags, from the files to the first iPod that supports
// tagging and takes it. Unlike in storing, the files are emptied only after a successful write.
// StoredTags owns the lists and the files. The object lives for one device event.
#include "service/Transfer.h"

#include "files/CConfigInfo.h"
#include "service/TaggingCapability.h"
#include "tagdata/CTagException.h"

#include <memory>

Transfer::Transfer(StoredTags& stored, Surroundings const& around)
    : mStored(stored), mAround(around) {}

void Transfer::run() {
    log("Fired");
    if (!mStored.loadConfig()) {
        mAround.publishTransfer(TaggingStatus::ERROR);
        return;
    }
    mStored.loadTags();
    log("Ambig Tag Count: " + stdTools::toString(mStored.ambigTags()->Count()));
    mTotal = mStored.total();
    if (mTotal == 0) {
        log("No Tag to be processed");
        return;
    }
    log("Total Tags: " + stdTools::toString(mTotal));
    log("Storing tags");
    if (!mAround.devices.empty()) {
        offerToDevices();
    }
    if (mPending) {
        keepTags();
    }
    log("Finished");
}

void Transfer::offerToDevices() {
    log("Backing up tags");
    for (CMediaDevice const* device : mAround.devices) {
        if (!mPending) {
            break;
        }
        writeDevice(*device);
    }
    mStored.recordForDevices(mAround.devices);
    if (mPending && !mAttempted) {
        publishIncompatible();
    }
}

void Transfer::writeDevice(CMediaDevice const& device) {
    // Said before the test for the capability: it does not mean that anything is written.
    log("Storing on iPod");
    try {
        if (!supportsTagging(mAround.tools, device.mountPoint())) {
            return;
        }
        mAttempted = true;
        mStored.writeToIpod(device.mountPoint(), NODEVICE);
        mPending = false;
        mAround.publishTransfer(TaggingStatus::TRANSFER_SUCCEEDED);
        mStored.emptyFiles();
        mAround.publishCurrent(0);
    } catch (CTagException* exception) {
        // The next device may take the tags.
        std::unique_ptr<CTagException> const failure(exception);
    }
}

void Transfer::publishIncompatible() {
    bool const full = mStored.config().maxTagCount() <= mTotal;
    mAround.publishTransfer(full ? TaggingStatus::LOCALFULL_IPOD_INCOMPATIBLE
                                 : TaggingStatus::STOREDLOCAL_IPOD_INCOMPATIBLE);
}

void Transfer::keepTags() {
    log("Storing locally");
    mStored.writeTags(NODEVICE);
    mStored.writeAmbigTags(NODEVICE);
    // After the rewrite: whoever is told of the failure finds the tags in the files.
    // Test: CTaggingImplEvents.AFailedTransferIsToldWhenTheTagsAreBackInTheFile.
    if (mAttempted) {
        mAround.publishTransfer(TaggingStatus::TRANSFER_FAILED);
    }
}

void Transfer::log(std::string const& message) const {
    mAround.tools.Output("CTaggingImpl_ProcessStoredTags", message, stdTools::Message);
}
