// Each event of the bus is one piece of work, and each is given here to the way of working that the
// configuration chooses for it. The default way is this very object, through its own operations;
// the safe way is an object of its own, which is lent the list of devices and the published values.
#include "service/CTaggingImpl.h"

#include "bus/ArrivalBounds.h"
#include "bus/CTellbusEventTypes.h"
#include "bus/CTellbusRequest.h"
#include "service/DeviceReport.h"
#include "service/KeepingChoice.h"

/** The default way: what the operations of the service object do by themselves. */
class CTaggingImpl::OrdinaryKeeping : public Keeping {
public:
    explicit OrdinaryKeeping(CTaggingImpl& service) : mService(service) {}

    void begin() override { mService.publishStoredCount(); }
    Json::Value replyTo(CTellbusRequest& request) override {
        request.parse();
        return mService.replyTo(request);
    }
    void takeDevices(char const* answer) override {
        mService.ProcessDeviceState(parseReport(answer));
    }
    void takeDeviceState(CTellbusSignal const* signal) override {
        mService.ProcessDeviceStateSignal(signal);
    }
    void takeMediaOwner(bool) override {}

private:
    CTaggingImpl& mService;
};

struct CTaggingImpl::Ways {
    explicit Ways(CTaggingImpl& service)
        : ordinary(service), choice(ordinary, service.safeSurroundings(),
                                    [&service](bool watched) { service.watchMedia(watched); }) {}

    OrdinaryKeeping ordinary;
    KeepingChoice choice;
    unsigned int mediaSubscription = 0;
};

CTaggingImpl::~CTaggingImpl() {
    watchMedia(false);
    unsubscribe(mDeviceStateSubscription);
    for (CMediaDevice const* device : mDevices) {
        delete device;
    }
}

void CTaggingImpl::begin() {
    mWays = std::make_shared<Ways>(*this);
    mWays->choice.first().begin();
}

Keeping& CTaggingImpl::wayForThis() {
    Keeping& way = mWays->choice.next();
    if (ArrivalBounds::takeLoss()) {
        getDevices();
    }
    return way;
}

void CTaggingImpl::processTellbusNameChange(unsigned int const& id,
                                            CTellbusNameChange const* change, void* context) {
    if (mWays->mediaSubscription == 0) {
        return CSvcClientBase::processTellbusNameChange(id, change, context);
    }
    bool const hasOwner = change->newOwner != nullptr && *change->newOwner != '\0';
    wayForThis().takeMediaOwner(hasOwner);
}

SafeSurroundings CTaggingImpl::safeSurroundings() {
    return {mDevices,
            mTools,
            [this](int current, int max) { sendLocalStatus(current, max); },
            [this] { sendConnectionStatus(); },
            [this](EnuStatus status) { sendTransferStatus(status); },
            [this](EnuStatus status) { mTransferStatus = status; },
            [this] { getDevices(); },
            [this](bool transfer, bool connection, bool local) {
                return getProperties(transfer, connection, local);
            }};
}

void CTaggingImpl::watchMedia(bool watched) {
    unsigned int& subscription = mWays->mediaSubscription;
    if (watched) {
        subscription = subscribeOwnerChanged(MEDIASERVICE, nullptr);
    } else if (subscription != 0) {
        unsubscribe(subscription);
        subscription = 0;
    }
}
