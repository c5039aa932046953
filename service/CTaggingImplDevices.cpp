// The list of attached iPods, as the media service reports it: one answer replaces the list, and
// each signal then puts one record in or takes one out. The records belong to the service object.
// Every change that may bring an iPod starts a transfer of the waiting tags. Who may send the
// signal is settled below, in the subscription; here its id alone says what it is.
#include "service/CTaggingImpl.h"

#include "bus/CTellbusEventTypes.h"
#include "service/DeviceReport.h"
#include "service/Guarded.h"
#include "service/JsonElements.h"
#include "service/Keeping.h"
#include "service/TaggingCapability.h"
#include "tagdata/CTagException.h"

#include <algorithm>
#include <memory>

namespace {

constexpr char RULER[] = "--------------------";
constexpr char DEVICELISTSOURCE[] = "CTaggingImpl_ProcessDeviceState(Json)";
constexpr char DEVICESTATESOURCE[] = "CTaggingImpl_ProcessDeviceStateSignal";

/** Milliseconds. */
constexpr unsigned int GETDEVICESTIMEOUT = 10000;

} // namespace

void CTaggingImpl::getDevices() {
    constexpr char SOURCE[] = "CTaggingImpl_getDevices";
    log(SOURCE, "fired");
    bool const sent = guarded([this] {
        Json::Value const parameters(Json::objectValue);
        invoke(MEDIASERVICE, makeObjPath(MEDIASERVICE).c_str(), GETDEVICES, parameters, false,
               GETDEVICESTIMEOUT, const_cast<char*>(GETDEVICES));
    });
    if (!sent) {
        log(SOURCE, "Error", stdTools::Error);
    }
}

void CTaggingImpl::processTellbusResult(unsigned int const&, char const* result, void* context) {
    constexpr char SOURCE[] = "CTaggingImpl_processTellBUSResult";
    if (context == nullptr) {
        return;
    }
    std::string const name = static_cast<char const*>(context);
    log(SOURCE, RULER);
    log(SOURCE, "ResultName: " + name);
    if (name == GETDEVICES) {
        wayForThis().takeDevices(result);
    }
    log(SOURCE, "Exiting");
    log(SOURCE, RULER);
}

void CTaggingImpl::ProcessDeviceState(Json::Value const& value) {
    log(DEVICELISTSOURCE, "Starting");
    if (!value.isNull()) {
        Json::Value const devices = value.get("devices", Json::nullValue);
        removeAllDevices();
        if (devices.isNull()) {
            log(DEVICELISTSOURCE, "deviceList is empty!", stdTools::Warning);
        } else {
            addDevices(devices);
        }
        sendConnectionStatus();
        ProcessStoredTags();
    }
    log(DEVICELISTSOURCE, "Exiting");
}

void CTaggingImpl::addDevices(Json::Value const& devices) {
    log(DEVICELISTSOURCE, "List Size: " + stdTools::toString(devices.size()));
    forEachElement(devices, [this](Json::Value const& element) {
        Json::Value const& device = element["device"];
        if (isIpod(device)) {
            log(DEVICELISTSOURCE, "iPod Found");
            mDevices.push_back(readDevice(device).release());
            sendConnectionStatus();
        }
    });
    log(DEVICELISTSOURCE, "For loop finished");
}

void CTaggingImpl::processTellbusSignal(unsigned int const& id, CTellbusSignal const* signal,
                                        void*) {
    constexpr char SOURCE[] = "CTaggingImpl_processTellbusSignal";
    log(SOURCE, RULER);
    if (id == mDeviceStateSubscription) {
        wayForThis().takeDeviceState(signal);
    }
    log(SOURCE, RULER);
}

template <class Read>
void CTaggingImpl::readOrThrow(Read read) {
    if (!guarded(read)) {
        log(DEVICESTATESOURCE, "Unhandled Exception", stdTools::Error);
        throwTagException(CTagException::ExUnhandled,
                          "Unhandled error in CTaggingImpl_ProcessIPCSignal");
    }
}

void CTaggingImpl::ProcessDeviceStateSignal(CTellbusSignal const*& signal) {
    Json::Value const state = parseReport(signal->data);
    bool available = false;
    Json::Value device;
    log(DEVICESTATESOURCE, "Parsing Available...");
    readOrThrow([&] { available = state["available"].asBool(); });
    log(DEVICESTATESOURCE, "Parsing device...");
    readOrThrow([&] { device = state["device"]; });
    if (!isIpod(device)) {
        return;
    }
    log(DEVICESTATESOURCE, "Processing iPod");
    removeDevice(device["id"].asInt());
    if (available) {
        mDevices.push_back(readDevice(device).release());
        ProcessStoredTags();
    }
    // After the transfer, where the answer to "getDevices" has it before.
    // Test: test_connection_status_follows_the_transfer.
    sendConnectionStatus();
}

void CTaggingImpl::removeDevice(int id) {
    auto const found =
        std::find_if(mDevices.begin(), mDevices.end(),
                     [id](CMediaDevice const* device) { return device->id() == id; });
    if (found != mDevices.end()) {
        std::unique_ptr<CMediaDevice> const removed(*found);
        mDevices.erase(found);
    }
}

void CTaggingImpl::removeAllDevices() {
    for (CMediaDevice* device : mDevices) {
        delete device;
    }
    mDevices.clear();
}

bool CTaggingImpl::isDeviceSupportTagging(std::string mountPoint) {
    return supportsTagging(mTools, mountPoint);
}
