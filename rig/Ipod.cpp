#include "rig/Ipod.h"

#include "platform/ControlNode.h"

#include <stdexcept>
#include <utility>

namespace {

constexpr char IPOD[] = "ipod";

} // namespace

Ipod::Ipod(Device device, Capabilities capabilities, ReportStream& report)
    : mDevice(std::move(device)),
      mDriver(mDevice.id, mDevice.mountPoint, std::move(capabilities), report),
      mLoop([this](ControlNodePeer& peer) {
          mLoop.waitAWhile(mDriver.delayOf(peer.request()));
          return mDriver.answer(peer);
      }) {}

void Ipod::serve() {
    if (mDevice.type != IPOD) {
        return;
    }
    showNode(true);
    mLoop.start();
}

void Ipod::showNode(bool shown) {
    if (!shown) {
        mLoop.withdraw();
    } else if (mDevice.type == IPOD) {
        mLoop.offer(mDevice.mountPoint + CONTROLNODE);
    }
}

/** The driver stands still for as long as this lives. */
class Ipod::Pause {
public:
    explicit Pause(Ipod& ipod) : mLoop(ipod.mLoop) { mLoop.stop(); }
    ~Pause() { mLoop.start(); }
    Pause(Pause const&) = delete;
    Pause& operator=(Pause const&) = delete;

private:
    DriverLoop& mLoop;
};

void Ipod::withdraw() {
    Pause const pause(*this);
    showNode(false);
}

void Ipod::restore() {
    Pause const pause(*this);
    showNode(!mDriver.faults().refuseOpen);
}

void Ipod::setCapabilities(Capabilities capabilities) {
    Pause const pause(*this);
    mDriver.setCapabilities(std::move(capabilities));
}

void Ipod::setFaults(Faults const& faults) {
    Pause const pause(*this);
    showNode(!faults.refuseOpen);
    mDriver.setFaults(faults);
}

Json::Value Ipod::describe() const {
    Json::Value fields = mDevice.toJson();
    fields["caps"] = Json::arrayValue;
    for (auto const capability : mDriver.capabilities()) {
        fields["caps"].append(capability);
    }
    fields["fault"] = mDriver.faults().text;
    return fields;
}
