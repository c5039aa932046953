// Storing a tag: the local files are emptied first, and the lists in memory, old tags and new ones,
// then go either to iPods or back to the files. A process that dies in between loses them.

#include "service/CTaggingImpl.h"

#include "service/StoredTags.h"

#include <cerrno>

namespace {

constexpr char SOURCE[] = "CTaggingImpl_tagRequest";

/** The value of "choose" that sends tags to the iPod named by the request. */
constexpr char SPECIFY[] = "specify";

/** A failed write that means the iPod has no room. */
bool isNoRoom(CTagException const& failure) {
    return failure.SystemError == ENOSPC || failure.SystemError == EINVAL;
}

} // namespace

/** What one request has come to. */
struct CTaggingImpl::StoreAttempt {
    StoredTags& stored;
    int deviceId;
    int total;              ///< stored tags before this request
    EnuStatus result = OK;  ///< what the client gets
    bool pending = true;    ///< no iPod has taken the tags, so the local files must
    bool forceLocal = true; ///< a local store makes the result STORED_LOCAL, a failed write counts

    unsigned int device() const { return static_cast<unsigned int>(deviceId); }
};

CTaggingImpl::EnuStatus CTaggingImpl::tagRequest(std::vector<_tag>& tags, int deviceId) {
    StoredTags stored(mDeviceId, mTools.DEBUG);
    if (!stored.loadConfig()) {
        return ERROR;
    }
    stored.loadTags();
    log(SOURCE, "Ambig Tag Count: " + stdTools::toString(stored.ambigTags()->Count()));
    StoreAttempt attempt{stored, deviceId, stored.total()};
    log(SOURCE, "Total Tags: " + stdTools::toString(attempt.total));
    if (attempt.total >= stored.config().maxTagCount()) {
        return LOCAL_STORAGE_FULL;
    }
    stored.emptyFiles();
    addNewTags(stored, tags);
    log(SOURCE, "Storing tags");
    if (!mDevices.empty()) {
        offerToDevices(attempt);
    }
    if (attempt.pending) {
        storeLocally(attempt);
    }
    return attempt.result;
}

void CTaggingImpl::addNewTags(StoredTags& stored, std::vector<_tag> const& tags) {
    if (tags.size() == 1) {
        log(SOURCE, "Found Single");
        std::unique_ptr<CTag> record(tags.front().createCTag());
        record->NewTagFlag(true);
        stored.tags()->AddRear(record.release());
        log(SOURCE, "Initial tag count: " + stdTools::toString(stored.tags()->Count()));
        return;
    }
    log(SOURCE, "Found Fuzzy");
    for (_tag const& tag : tags) {
        std::unique_ptr<CAmbigTag> record(tag.createCAmbigTag());
        record->NewTagFlag(true);
        stored.ambigTags()->AddRear(record.release());
    }
}

void CTaggingImpl::offerToDevices(StoreAttempt& attempt) {
    log(SOURCE, "Backing up tags");
    for (CMediaDevice const* device : mDevices) {
        Next const next = chooseByPolicy(attempt, *device);
        if (next == Next::StopWalk) {
            return;
        }
        if (next == Next::WriteDevice) {
            writeDevice(attempt, *device);
        }
    }
    attempt.forceLocal = true;
}

CTaggingImpl::Next CTaggingImpl::chooseByPolicy(StoreAttempt& attempt, CMediaDevice const& device) {
    CConfigInfo& config = attempt.stored.config();
    if (!config.multiples_enable()) {
        attempt.forceLocal = true;
        return attempt.pending ? Next::WriteDevice : Next::StopWalk;
    }
    if (config.multiples_choose() != SPECIFY) {
        attempt.forceLocal = false;
        return Next::WriteDevice;
    }
    return chooseIfSpecified(attempt, device);
}

CTaggingImpl::Next CTaggingImpl::chooseIfSpecified(StoreAttempt& attempt,
                                                   CMediaDevice const& device) {
    if (attempt.deviceId == 0) {
        attempt.forceLocal = true;
        attempt.result = ERROR;
        return Next::StopWalk;
    }
    if (device.id() != attempt.deviceId) {
        return Next::NextDevice;
    }
    if (!isDeviceSupportTagging(device.mountPoint())) {
        attempt.forceLocal = false;
        attempt.result = STOREDLOCAL_IPOD_INCOMPATIBLE;
        return Next::StopWalk;
    }
    attempt.pending = false;
    attempt.forceLocal = true;
    return Next::WriteDevice;
}

void CTaggingImpl::writeDevice(StoreAttempt& attempt, CMediaDevice const& device) {
    StoredTags& stored = attempt.stored;
    try {
        log(SOURCE, "Storing on iPod");
        stored.writeToIpod(device.mountPoint(), attempt.device());
        stored.recordNewTags(attempt.device());
        attempt.pending = false;
        attempt.result = STORED_ON_TARGET;
        sendLocalStatus(0, -1);
    } catch (CTagException* exception) {
        std::unique_ptr<CTagException> const failure(exception);
        if (!attempt.forceLocal) {
            return;
        }
        log(SOURCE, "Failure writing to iPod. Storing Internally", stdTools::Error);
        log(SOURCE, "re-storing Tags");
        stored.writeTags(attempt.device());
        log(SOURCE, "re-storing Ambiguous Tags");
        stored.writeAmbigTags(attempt.device());
        recordStoredLocally(attempt);
        attempt.result = isNoRoom(*failure) ? TARGET_FULL : STORED_LOCAL;
    }
}

void CTaggingImpl::storeLocally(StoreAttempt& attempt) {
    log(SOURCE, "Storing locally");
    attempt.stored.writeTags(attempt.device());
    attempt.stored.writeAmbigTags(attempt.device());
    recordStoredLocally(attempt);
    if (attempt.forceLocal) {
        attempt.result = STORED_LOCAL;
    }
}

void CTaggingImpl::recordStoredLocally(StoreAttempt& attempt) {
    attempt.stored.recordNewTags(attempt.device());
    sendLocalStatus(attempt.total + attempt.stored.newTagIdCount(), -1);
}
