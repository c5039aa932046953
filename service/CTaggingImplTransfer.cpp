// Stored-tag transfer: waiting tags move to the first capable iPod as soon as one is there. Unlike
// in storing, the files are emptied only after a successful write.

#include "service/CTaggingImpl.h"

#include "service/Guarded.h"
#include "service/StoredTags.h"

namespace {

constexpr char SOURCE[] = "CTaggingImpl_ProcessStoredTags";

} // namespace

/** What one transfer has come to. */
struct CTaggingImpl::TransferAttempt {
    StoredTags& stored;
    int total;
    bool pending = true;    ///< no iPod has taken the tags yet
    bool attempted = false; ///< a capable iPod was found and a write was tried
};

void CTaggingImpl::ProcessStoredTags() {
    log(SOURCE, "Fired");
    StoredTags stored(mDeviceId, mTools.DEBUG);
    if (!stored.loadConfig()) {
        sendTransferStatus(ERROR);
        return;
    }
    stored.loadTags();
    log(SOURCE, "Ambig Tag Count: " + stdTools::toString(stored.ambigTags()->Count()));
    TransferAttempt attempt{stored, stored.total()};
    if (attempt.total == 0) {
        log(SOURCE, "No Tag to be processed");
        return;
    }
    log(SOURCE, "Total Tags: " + stdTools::toString(attempt.total));
    log(SOURCE, "Storing tags");
    if (!mDevices.empty()) {
        transferToDevices(attempt);
    }
    if (attempt.pending) {
        keepStoredTags(attempt);
    }
    log(SOURCE, "Finished");
}

void CTaggingImpl::transferToDevices(TransferAttempt& attempt) {
    log(SOURCE, "Backing up tags");
    for (CMediaDevice const* device : mDevices) {
        if (!attempt.pending) {
            break;
        }
        transferToDevice(attempt, *device);
    }
    StoredTags& stored = attempt.stored;
    UpdateIpodTagIds(&stored.xml(), stored.tags(), stored.ambigTags(), mDevices);
    if (attempt.pending && !attempt.attempted) {
        bool const full = stored.config().maxTagCount() <= attempt.total;
        sendTransferStatus(full ? LOCALFULL_IPOD_INCOMPATIBLE : STOREDLOCAL_IPOD_INCOMPATIBLE);
    }
}

void CTaggingImpl::transferToDevice(TransferAttempt& attempt, CMediaDevice const& device) {
    // Said before the test for the capability: it does not mean that anything is written.
    log(SOURCE, "Storing on iPod");
    try {
        if (!isDeviceSupportTagging(device.mountPoint())) {
            return;
        }
        attempt.attempted = true;
        attempt.stored.writeToIpod(device.mountPoint(), NODEVICE);
        attempt.pending = false;
        sendTransferStatus(TRANSFER_SUCCEEDED);
        attempt.stored.emptyFiles();
        sendLocalStatus(0, -1);
    } catch (CTagException* exception) {
        // The next device may take the tags.
        std::unique_ptr<CTagException> const failure(exception);
    }
}

void CTaggingImpl::keepStoredTags(TransferAttempt& attempt) {
    log(SOURCE, "Storing locally");
    attempt.stored.writeTags(NODEVICE);
    attempt.stored.writeAmbigTags(NODEVICE);
    if (attempt.attempted) {
        sendTransferStatus(TRANSFER_FAILED);
    }
}

void CTaggingImpl::UpdateIpodTagIds(XMLTools* xmlTools, CLinkedList<CTag>* tagList,
                                    CLinkedList<CAmbigTag>* ambigList,
                                    std::vector<CMediaDevice*>& devices) {
    if (xmlTools == nullptr) {
        return;
    }
    std::vector<unsigned int> ids;
    for (CMediaDevice const* device : devices) {
        if (device != nullptr) {
            ids.push_back(static_cast<unsigned int>(device->id()));
        }
    }
    xmlTools->UpdateTagIds(tagList, ambigList, ids);
    xmlTools->WriteTagIdMgrXML();
}

CTaggingImpl::EnuStatus CTaggingImpl::clearAllLocalTags() {
    XMLTools xml(mDeviceId, mTools.DEBUG);
    bool const cleared = guarded([&] {
        xml.WriteTagXML(nullptr, NODEVICE);
        xml.WriteAmbigTagXML(nullptr, NODEVICE);
        sendLocalStatus(0, -1);
    });
    return cleared ? OK : ERROR;
}

void CTaggingImpl::SonglatchingReady() {
    log("CTaggingImpl_SonglatchingReady", "fired");
}

bool CTaggingImpl::isDeviceFull(unsigned int) {
    return true;
}
