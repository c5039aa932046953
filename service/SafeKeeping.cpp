// One event of the bus at a time comes in here. What waits and what was delivered is read from the
// files into a KeptTags, changed there, and written back by one commit() before anybody is told;
// the object itself keeps between two events only what no file could be told yet, and which drivers
// did not answer. Nothing that comes from outside may throw through it: a request is answered, a
// report of the media service is taken or logged, and the service goes on.
#include "service/SafeKeeping.h"

#include "bus/CTellbusEventTypes.h"
#include "bus/CTellbusRequest.h"
#include "files/TagTextCommand.h"
#include "platform/ControlNode.h"
#include "platform/DriverDeadline.h"
#include "platform/devctl.h"
#include "service/DeviceReport.h"
#include "service/JsonElements.h"
#include "service/TaggingCapability.h"
#include "tagdata/CTagException.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

std::uint32_t asRecorded(int deviceId) {
    return static_cast<std::uint32_t>(deviceId);
}

bool isNoRoom(int error) {
    return error == ENOSPC || error == EINVAL;
}

/** Whether the songs of a request stand together among those that wait. */
bool areWaiting(KeptTags& kept, std::vector<CAmbigTag> const& tags) {
    auto const same = [](CTag const& one, CTag const& other) {
        return identityOf(one) == identityOf(other);
    };
    bool const unknown = std::any_of(tags.begin(), tags.end(), [](CAmbigTag const& tag) {
        return identityOf(tag) == SongIdentity();
    });
    if (unknown) {
        return false; // without name, artist and id, any two songs would be the same one
    }
    if (tags.size() == 1) {
        return std::any_of(kept.tags().begin(), kept.tags().end(),
                           [&](CTag const& tag) { return same(tag, tags.front()); });
    }
    auto const& waiting = kept.candidates();
    return std::search(waiting.begin(), waiting.end(), tags.begin(), tags.end(), same)
           != waiting.end();
}

} // namespace

SafeKeeping::SafeKeeping(SafeSurroundings around) : mAround(std::move(around)) {}

void SafeKeeping::use(std::shared_ptr<CConfigInfo const> config) {
    mConfig = std::move(config);
    mConfigIsOld = false;
}

void SafeKeeping::keepLastConfig() {
    if (!mConfigIsOld) {
        log("keepLastConfig", "The configuration cannot be read; the last one stays in force",
            stdTools::Error);
    }
    mConfigIsOld = true;
}

// Files.

int SafeKeeping::prepare() {
    if (mFolder == nullptr || mFolder->path() != mConfig->localStorage()) {
        mFolder = std::make_unique<KeepingFolder>(mConfig->localStorage());
        mFolderReady = false;
    }
    int error = mFolder->lock();
    if (error == EWOULDBLOCK) {
        return error;
    }
    // On a disk that takes nothing, what lies there can still be read.
    if (error == 0) {
        error = mFolderReady ? mFolder->finish() : mFolder->recover();
        mFolderReady = mFolderReady || error == 0;
    }
    return 0;
}

int SafeKeeping::load(KeptTags& kept) {
    int const error = kept.load();
    for (std::string const& complaint : kept.complaints()) {
        log("load", complaint, stdTools::Error);
    }
    for (auto const& [song, device] : mUnrecorded) {
        kept.record(song, device);
    }
    return error;
}

void SafeKeeping::begin() {
    if (prepare() == EWOULDBLOCK) {
        throwTagException(CTagException::ExUnhandled,
                          "Another process keeps the tags in \"" + mFolder->path() + "\"");
    }
    KeptTags kept(*mFolder);
    int const error = load(kept);
    if (error != 0) {
        log("begin", "The waiting tags cannot be read: " + describe(error), stdTools::Error);
    }
    mAround.publishLocal(kept.total(), mConfig->maxTagCount());
}

// Requests.

Json::Value SafeKeeping::refused(std::string const& why) const {
    log("replyTo", "The request cannot be taken: " + why, stdTools::Error);
    return toJson(TaggingStatus::ERROR);
}

Json::Value SafeKeeping::replyTo(CTellbusRequest& request) {
    try {
        return replyToMethod(request);
    } catch (CTagException* exception) {
        std::unique_ptr<CTagException> const failure(exception);
        return refused(failure->Message());
    } catch (std::exception const& failure) {
        return refused(failure.what());
    }
}

Json::Value SafeKeeping::replyToMethod(CTellbusRequest& request) {
    if (!request.text.empty()) {
        request.parameters = judgeText(request.text);
    }
    if (request.method == "tagRequest") {
        return replyToTags(request);
    }
    if (request.method == "clearAllLocalTags") {
        return toJson(clear());
    }
    if (request.method == "getProperties") {
        return replyToGetProperties(request.parameters, mAround.readProperties);
    }
    if (request.method == "checkTag") {
        return replyToCheck(request.parameters);
    }
    log("replyTo", "Unknown method:" + request.method);
    return replyToUnknownMethod();
}

Json::Value SafeKeeping::replyToTags(CTellbusRequest& request) {
    Json::Value const& params = request.parameters;
    if (params.isNull() || (params.isObject() && !hasElements(params["tags"]))) {
        return replyToTagRequest(params, nullptr, nullptr); // the reply to no tags at all
    }
    JudgedTags judged = judgeTags(params);
    TaggingStatus::Number const result = store(judged);
    mAround.noteTransfer(result);
    return toJson(result);
}

Json::Value SafeKeeping::replyToCheck(Json::Value const& params) {
    JudgedCheck const judged = judgeCheck(params);
    Taggable result;
    result.Name = judged.name;
    result.Artist = judged.artist;
    result.iTunesSongID = judged.songId;
    int error = prepare();
    KeptTags kept(*mFolder);
    error = error != 0 ? error : load(kept);
    if (error != 0) {
        return refused("the record cannot be read: " + describe(error));
    }
    SongIdentity const song = judged.identity();
    result.tagged = judged.deviceId == -1 ? kept.isWaiting(song) || kept.isRecorded(song)
                                          : kept.hasTaken(song, asRecorded(judged.deviceId));
    return replyToCheckTag(result);
}

TaggingStatus::Number SafeKeeping::clear() {
    int error = prepare();
    KeptTags kept(*mFolder);
    error = error != 0 ? error : load(kept);
    if (error == 0 && !kept.empty()) {
        kept.clearWaiting();
        error = kept.commit(KeptTags::Tags | KeptTags::Candidates);
    }
    if (error != 0) {
        log("clearAllLocalTags", "The waiting tags cannot be cleared: " + describe(error),
            stdTools::Error);
        return TaggingStatus::ERROR;
    }
    mAround.publishLocal(0, -1);
    return TaggingStatus::OK;
}

// Storing.

TaggingStatus::Number SafeKeeping::store(JudgedTags& judged) {
    int error = prepare();
    KeptTags kept(*mFolder);
    error = error != 0 ? error : load(kept);
    if (error != 0) {
        log("tagRequest", "The waiting tags cannot be read: " + describe(error), stdTools::Error);
        return TaggingStatus::ERROR;
    }
    TaggingStatus::Number const result = keepAndOffer(kept, judged);
    if (result != TaggingStatus::ERROR && result != TaggingStatus::LOCAL_STORAGE_FULL) {
        mAround.publishLocal(kept.total(), -1);
    }
    return result;
}

TaggingStatus::Number SafeKeeping::keepAndOffer(KeptTags& kept, JudgedTags& judged) {
    if (!areWaiting(kept, judged.tags)) {
        if (kept.total() >= mConfig->maxTagCount()) {
            return TaggingStatus::LOCAL_STORAGE_FULL;
        }
        int const error = keep(kept, judged);
        if (error != 0) {
            log("tagRequest", "The tag cannot be kept: " + describe(error), stdTools::Error);
            return TaggingStatus::ERROR;
        }
    }
    return offerByPolicy(kept, judged.deviceId);
}

int SafeKeeping::keep(KeptTags& kept, JudgedTags& judged) {
    if (judged.tags.size() == 1) {
        kept.tags().push_back(judged.tags.front());
        return kept.commit(KeptTags::Tags);
    }
    auto& candidates = kept.candidates();
    candidates.insert(candidates.end(), judged.tags.begin(), judged.tags.end());
    return kept.commit(KeptTags::Candidates);
}

TaggingStatus::Number SafeKeeping::offerByPolicy(KeptTags& kept, int deviceId) {
    if (!mConfig->multiples_enable()) {
        return offerToFirst(kept);
    }
    return mConfig->multiples_choose() == SPECIFY ? offerToNamed(kept, deviceId) : offerToAll(kept);
}

TaggingStatus::Number SafeKeeping::offerToFirst(KeptTags& kept) {
    for (CMediaDevice const* device : mAround.devices) {
        Outcome const outcome = offer(kept, *device, false, true).outcome;
        if (outcome == Outcome::Took || (outcome == Outcome::HasAll && leaveFiles(kept))) {
            return TaggingStatus::STORED_ON_TARGET;
        }
    }
    return TaggingStatus::STORED_LOCAL;
}

TaggingStatus::Number SafeKeeping::offerToAll(KeptTags& kept) {
    bool taken = false;
    bool refused = false;
    for (CMediaDevice const* device : mAround.devices) {
        bool const isLast = device == mAround.devices.back();
        Outcome const outcome = offer(kept, *device, false, isLast && !refused).outcome;
        taken = taken || outcome == Outcome::Took || outcome == Outcome::HasAll;
        refused = refused || outcome == Outcome::Refused;
    }
    // What one of them has refused waits for it, although another one has it.
    if (taken && !refused) {
        leaveFiles(kept);
    }
    return taken ? TaggingStatus::STORED_ON_TARGET : TaggingStatus::STORED_LOCAL;
}

TaggingStatus::Number SafeKeeping::offerToNamed(KeptTags& kept, int deviceId) {
    auto const named =
        std::find_if(mAround.devices.begin(), mAround.devices.end(),
                     [&](CMediaDevice const* device) { return device->id() == deviceId; });
    if (deviceId == 0 || named == mAround.devices.end()) {
        return TaggingStatus::STORED_LOCAL;
    }
    Offering const offering = offer(kept, **named, true, true);
    switch (offering.outcome) {
    case Outcome::Took:
        return TaggingStatus::STORED_ON_TARGET;
    case Outcome::HasAll:
        leaveFiles(kept);
        return TaggingStatus::STORED_ON_TARGET;
    case Outcome::Incapable:
        return TaggingStatus::STOREDLOCAL_IPOD_INCOMPATIBLE;
    case Outcome::Refused:
        break;
    }
    return isNoRoom(offering.error) ? TaggingStatus::TARGET_FULL : TaggingStatus::STORED_LOCAL;
}

// Transfer.

void SafeKeeping::transfer() {
    int error = prepare();
    KeptTags kept(*mFolder);
    error = error != 0 ? error : load(kept);
    if (error != 0) {
        log("transfer", "The waiting tags cannot be read: " + describe(error), stdTools::Error);
        mAround.publishTransfer(TaggingStatus::ERROR);
        return;
    }
    if (!kept.empty() && !mAround.devices.empty()) {
        transferTo(kept);
    }
}

void SafeKeeping::transferTo(KeptTags& kept) {
    bool attempted = false;
    bool hasAll = false;
    for (CMediaDevice const* device : mAround.devices) {
        Outcome const outcome = offer(kept, *device, true, true).outcome;
        if (outcome == Outcome::Took) {
            mAround.publishTransfer(TaggingStatus::TRANSFER_SUCCEEDED);
            mAround.publishLocal(kept.total(), -1);
            return;
        }
        attempted = attempted || outcome == Outcome::Refused;
        hasAll = hasAll || outcome == Outcome::HasAll;
    }
    bool const forAll = mConfig->multiples_enable() && mConfig->multiples_choose() != SPECIFY;
    if (attempted) {
        mAround.publishTransfer(TaggingStatus::TRANSFER_FAILED);
    } else if (hasAll) {
        if (!forAll && leaveFiles(kept)) {
            mAround.publishLocal(kept.total(), -1);
        }
    } else {
        mAround.publishTransfer(mConfig->maxTagCount() <= kept.total()
                                    ? TaggingStatus::LOCALFULL_IPOD_INCOMPATIBLE
                                    : TaggingStatus::STOREDLOCAL_IPOD_INCOMPATIBLE);
    }
}

// Drivers.

SafeKeeping::Offering SafeKeeping::offer(KeptTags& kept, CMediaDevice const& device,
                                         bool askCapability, bool leave) {
    if (mSilent.count(device.id()) > 0) {
        return {Outcome::Refused, ETIMEDOUT};
    }
    KeptTags::Offer const list = kept.offerFor(asRecorded(device.id()));
    if (list.empty()) {
        return {Outcome::HasAll, 0};
    }
    auto const time = std::chrono::seconds(mConfig->driverDeadline());
    auto const over = std::chrono::steady_clock::now() + time;
    DriverDeadline const deadline(time);
    int error = 0;
    if (askCapability && !supportsTagging(mAround.tools, device.mountPoint())) {
        error = std::chrono::steady_clock::now() >= over ? ETIMEDOUT : 0;
        if (error == 0) {
            return {Outcome::Incapable, 0};
        }
    }
    error = error != 0 ? error : sendText(device, KeptTags::propertyList(*mConfig, list));
    if (error != 0) {
        log("offer",
            "iPod " + stdTools::toString(device.id()) + " takes no tags: " + describe(error),
            stdTools::Error);
        if (error == ETIMEDOUT) {
            mSilent.insert(device.id());
        }
        return {Outcome::Refused, error};
    }
    recordTaken(kept, list, device, leave);
    return {Outcome::Took, 0};
}

int SafeKeeping::sendText(CMediaDevice const& device, std::string const& text) const {
    int const node = openControlNode((device.mountPoint() + CONTROLNODE).c_str(), O_RDWR);
    if (node == -1) {
        return errno;
    }
    int reply = 0;
    std::string sent = text;
    int const status =
        devctl(node, static_cast<int>(DCMD_TAG_TEXT), sent.data(), sent.size(), &reply);
    close(node);
    return status;
}

void SafeKeeping::recordTaken(KeptTags& kept, KeptTags::Offer const& offer,
                              CMediaDevice const& device, bool leave) {
    std::vector<SongIdentity> songs;
    for (CTag const* tag : offer.tags) {
        songs.push_back(identityOf(*tag));
    }
    for (CAmbigTag const* tag : offer.candidates) {
        songs.push_back(identityOf(*tag));
    }
    for (SongIdentity const& song : songs) {
        kept.record(song, asRecorded(device.id()));
        mUnrecorded.emplace_back(song, asRecorded(device.id()));
    }
    unsigned files = KeptTags::Record;
    if (leave) {
        files |= kept.tags().empty() ? 0U : KeptTags::Tags;
        files |= kept.candidates().empty() ? 0U : KeptTags::Candidates;
        kept.clearWaiting();
    }
    int const error = kept.commit(files);
    if (error == 0) {
        mUnrecorded.clear();
    } else {
        log("offer", "What the iPod took cannot be recorded yet: " + describe(error),
            stdTools::Error);
    }
}

bool SafeKeeping::leaveFiles(KeptTags& kept) {
    unsigned const files = (kept.tags().empty() ? 0U : KeptTags::Tags)
                           | (kept.candidates().empty() ? 0U : KeptTags::Candidates)
                           | (mUnrecorded.empty() ? 0U : KeptTags::Record);
    kept.clearWaiting();
    int const error = kept.commit(files);
    if (error == 0) {
        mUnrecorded.clear();
    } else {
        log("offer", "What is delivered cannot be taken out yet: " + describe(error),
            stdTools::Error);
    }
    return true;
}

// Devices.

void SafeKeeping::addDevice(Json::Value const& json) {
    mAround.devices.push_back(readDevice(json).release());
    mSilent.erase(mAround.devices.back()->id());
}

void SafeKeeping::removeDevice(int id) {
    auto& devices = mAround.devices;
    auto const found =
        std::find_if(devices.begin(), devices.end(),
                     [id](CMediaDevice const* device) { return device->id() == id; });
    if (found != devices.end()) {
        std::unique_ptr<CMediaDevice> const removed(*found);
        devices.erase(found);
    }
}

void SafeKeeping::removeAllDevices() {
    for (CMediaDevice* device : mAround.devices) {
        delete device;
    }
    mAround.devices.clear();
    mSilent.clear();
}

void SafeKeeping::takeDevices(char const* answer) {
    bool const none = answer == nullptr || *answer == '\0';
    std::vector<Json::Value> ipods;
    try {
        Json::Value const list = none ? Json::Value() : judgeText(answer)["devices"];
        if (!list.isArray() && !list.isNull()) {
            throw Refusal("\"devices\" is no array");
        }
        for (Json::Value const& element : list) {
            if (isIpod(element["device"])) {
                static_cast<void>(readDevice(element["device"]));
                ipods.push_back(element["device"]);
            }
        }
    } catch (std::exception const& failure) {
        log("takeDevices", std::string("The list of devices cannot be taken: ") + failure.what(),
            stdTools::Error);
        return;
    }
    removeAllDevices();
    for (Json::Value const& ipod : ipods) {
        addDevice(ipod);
        mAround.publishConnection();
    }
    mAround.publishConnection();
    transfer();
}

void SafeKeeping::takeDeviceState(CTellbusSignal const* signal) {
    try {
        Json::Value const state = judgeText(signal->data == nullptr ? "{}" : signal->data);
        if (!state.isObject() || !isIpod(state["device"])) {
            return;
        }
        bool const available = state["available"].asBool();
        static_cast<void>(readDevice(state["device"]));
        removeDevice(state["device"]["id"].asInt());
        if (available) {
            addDevice(state["device"]);
            transfer();
        }
    } catch (std::exception const& failure) {
        log("takeDeviceState",
            std::string("The report of a device cannot be taken: ") + failure.what(),
            stdTools::Error);
        return;
    }
    mAround.publishConnection();
}

void SafeKeeping::takeMediaOwner(bool hasOwner) {
    removeAllDevices();
    mAround.publishConnection();
    if (hasOwner) {
        mAround.askForDevices();
    }
}

std::string SafeKeeping::describe(int error) {
    return std::strerror(error);
}

void SafeKeeping::log(char const* operation, std::string const& message,
                      stdTools::ErrorLevel level) const {
    mAround.tools.Output(std::string("SafeKeeping_") + operation, message, level);
}
