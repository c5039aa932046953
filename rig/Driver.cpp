#include "rig/Driver.h"

#include "rig/PropertyList.h"

#include <cerrno>
#include <utility>

Driver::Driver(int device, std::string const& mountPoint, Capabilities capabilities,
               ReportStream& report)
    : mDevice(device), mCapabilities(std::move(capabilities)), mLanding(mountPoint),
      mReport(report) {}

std::chrono::milliseconds Driver::delayOf(ControlNodeRequest const& request) {
    if (mFaults.delay.count() != 0) {
        Json::Value fields;
        fields["device"] = mDevice;
        fields["what"] = nameOf(recognize(request));
        mReport.line("delayed", fields);
    }
    return mFaults.delay;
}

bool Driver::answer(ControlNodePeer& peer) {
    DriverRequest const kind = recognize(peer.request());
    Json::Value fields;
    ControlNodeReply const reply = replyTo(peer.request(), fields);
    fields["device"] = mDevice;
    bool const vanishing = mFaults.vanishesFrom(kind);
    if (vanishing) {
        fields["vanished"] = true;
        fields["errno"] = EIO; // what its client sees
    }
    mReport.line(nameOf(kind), fields);
    return vanishing ? vanish(peer, reply) : peer.startReply(reply);
}

ControlNodeReply Driver::replyTo(ControlNodeRequest const& request, Json::Value& fields) {
    switch (recognize(request)) {
    case DriverRequest::GetCapabilities:
        return tellCapabilities(request, fields);
    case DriverRequest::SendTags:
        return takeTags(request, fields);
    case DriverRequest::Unknown:
        break;
    }
    fields = describeUnknown(request);
    return refusalOf(request);
}

ControlNodeReply Driver::tellCapabilities(ControlNodeRequest const& request,
                                          Json::Value& fields) const {
    ControlNodeReply reply;
    fields["errno"] = mFaults.capabilitiesErrno;
    fields["replyRoom"] = request.replyRoom;
    if (mFaults.capabilitiesErrno != 0) {
        reply.status = -mFaults.capabilitiesErrno;
    } else {
        reply.data = encode(mCapabilities);
    }
    return reply;
}

ControlNodeReply Driver::takeTags(ControlNodeRequest const& request, Json::Value& fields) {
    ControlNodeReply reply;
    reply.status = mFaults.tagsErrno;
    reply.info = mFaults.tagsInfo;
    std::string const text(request.data.begin(), request.data.end());
    std::string fault;
    fields["wellFormed"] = isPropertyList(text, fault);
    if (!fault.empty()) {
        fields["fault"] = fault;
    }
    bool const taken = reply.status == 0 && !mFaults.vanishesFrom(DriverRequest::SendTags);
    fields["bytes"] = Json::UInt64(text.size());
    fields["errno"] = reply.status;
    fields["file"] = mLanding.land(text, taken);
    return reply;
}

bool Driver::vanish(ControlNodePeer& peer, ControlNodeReply const& reply) {
    auto bytes = ControlNodePeer::encode(reply);
    bytes.resize(bytes.size() / 2);
    peer.startSend(std::move(bytes));
    return false;
}
