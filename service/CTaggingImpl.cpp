#include "service/CTaggingImpl.h"

#include "service/StoredTags.h"

#include <algorithm>

namespace {

constexpr char SERVICENAME[] = "com.veldan.service.Songlatch";
constexpr char SERVICEPATH[] = "/com/veldan/service/Songlatch";
constexpr char DEVICESTATE[] = "deviceState";

constexpr char SOURCE[] = "CTaggingImpl_Constructor";

} // namespace

CTaggingImpl::CTaggingImpl(bool debug) : CSvcImplBase(SERVICENAME, SERVICEPATH, true) {
    mTools.DEBUG = debug;
    log(SOURCE, "Item created");
    log(SOURCE, "Subscribing");
    mDeviceStateSubscription = subscribe(makeObjPath(MEDIASERVICE).c_str(), DEVICESTATE, nullptr);
    log(SOURCE, "Loading Configuration");
    begin();
    log(SOURCE, "Getting Devices");
    getDevices();
    SonglatchingReady();
}

void CTaggingImpl::publishStoredCount() {
    StoredTags stored(mDeviceId, mTools.DEBUG);
    if (!stored.loadConfig()) {
        return;
    }
    stored.loadTagsOrThrow();
    // Ambiguous candidates are not halved in this first value, unlike in all later ones.
    // Test: test_candidates_count_whole_in_the_first_status_and_half_later.
    sendLocalStatus(stored.records(), stored.config().maxTagCount());
}

std::string CTaggingImpl::makeObjPath(std::string busName) {
    std::replace(busName.begin(), busName.end(), '.', '/');
    return "/" + busName;
}

Json::Value CTaggingImpl::getProperties(bool transfer, bool connection, bool local) {
    Json::Value props(Json::objectValue);
    if (transfer) {
        props[TRANSFERSTATUS] = transferStatus();
    }
    if (connection) {
        props[CONNECTIONSTATUS] = connectionStatus();
    }
    if (local) {
        props[LOCALSTATUS] = localStatus();
    }
    Json::Value result(Json::objectValue);
    result["props"] = props;
    return result;
}

void CTaggingImpl::sendLocalStatus(int current, int max) {
    constexpr int UNCHANGED = -1;
    if (current != UNCHANGED) {
        mLocalCurrent = current;
    }
    if (max != UNCHANGED) {
        mLocalMax = max;
    }
    emitStatus(LOCALSTATUS, localStatus());
}

void CTaggingImpl::sendConnectionStatus() {
    emitStatus(CONNECTIONSTATUS, connectionStatus());
}

void CTaggingImpl::sendTransferStatus(EnuStatus status) {
    mTransferStatus = status;
    emitStatus(TRANSFERSTATUS, transferStatus());
}

Json::Value CTaggingImpl::localStatus() const {
    Json::Value body(Json::objectValue);
    body["Current"] = mLocalCurrent;
    body["Max"] = mLocalMax;
    return body;
}

Json::Value CTaggingImpl::connectionStatus() const {
    Json::Value ids(Json::arrayValue);
    for (CMediaDevice const* device : mDevices) {
        ids.append(device->id());
    }
    Json::Value body(Json::objectValue);
    body["Devices"] = ids;
    return body;
}

Json::Value CTaggingImpl::transferStatus() const {
    return toJson(static_cast<EnuStatus>(mTransferStatus));
}

void CTaggingImpl::emitStatus(char const* name, Json::Value const& body) {
    emit(name, mWriter.write(body).c_str());
}

void CTaggingImpl::log(char const* source, std::string const& message, stdTools::ErrorLevel level) {
    mTools.Output(source, message, level);
}

void CTaggingImpl::SonglatchingReady() {
    log("CTaggingImpl_SonglatchingReady", "fired");
}

bool CTaggingImpl::isDeviceFull(unsigned int) {
    return true;
}
