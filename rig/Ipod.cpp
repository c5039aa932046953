#include "rig/Ipod.h"

#include "platform/ByteOrder.h"
#include "platform/ControlNode.h"
#include "rig/PropertyList.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr char IPOD[] = "ipod";
constexpr std::uint32_t SEND_TAGS = 0x80010E84;
constexpr std::uint16_t IPOD_MANAGER = 0x0013;
constexpr std::uint16_t GET_CAPABILITIES = 0x0032;
constexpr std::size_t MESSAGE_BYTES = 24;
constexpr std::size_t MANAGER_AT = 4;
constexpr std::size_t CODE_AT = 6;
constexpr std::size_t WORD_BYTES = 4;
constexpr std::size_t CAPABILITY_BYTES = 2;

std::uint16_t toCapability(std::string const& text) {
    int const number = toNumber(text);
    if (number < 0 || number > std::numeric_limits<std::uint16_t>::max()) {
        throw std::invalid_argument(text + " is not within 0 and 65535");
    }
    return static_cast<std::uint16_t>(number);
}

Capabilities capabilitiesIn(std::string const& text) {
    Capabilities capabilities;
    for (std::size_t at = 0; at <= text.size();) {
        std::size_t const comma = std::min(text.find(',', at), text.size());
        capabilities.push_back(toCapability(text.substr(at, comma - at)));
        at = comma + 1;
    }
    return capabilities;
}

bool asksForCapabilities(ControlNodeRequest const& request) {
    return request.kind == ControlNodeKind::Message && request.data.size() == MESSAGE_BYTES
           && getLE16(request.data.data() + MANAGER_AT) == IPOD_MANAGER
           && getLE16(request.data.data() + CODE_AT) == GET_CAPABILITIES;
}

bool bringsTags(ControlNodeRequest const& request) {
    return request.kind == ControlNodeKind::Devctl && request.dcmd == SEND_TAGS;
}

/** A driver's answer to what it does not know, as QNX drivers give it. */
ControlNodeReply refusal(ControlNodeRequest const& request, Json::Value& fields) {
    ControlNodeReply reply;
    bool const isMessage = request.kind == ControlNodeKind::Message;
    reply.status = isMessage ? -ENOSYS : ENOTTY;
    fields["errno"] = isMessage ? ENOSYS : ENOTTY;
    fields["bytes"] = Json::UInt64(request.data.size());
    if (isMessage && request.data.size() >= MESSAGE_BYTES) {
        fields["code"] = getLE16(request.data.data() + CODE_AT);
    } else {
        fields["dcmd"] = request.dcmd;
    }
    return reply;
}

} // namespace

Capabilities toCapabilities(std::string const& text) {
    try {
        return text == "none" ? Capabilities() : capabilitiesIn(text);
    } catch (std::invalid_argument const& fault) {
        throw std::invalid_argument("capability list \"" + text + "\": " + fault.what()
                                    + "; give numbers from 0 to 65535 joined by commas, as in 8,3,"
                                      " or none");
    }
}

Ipod::Ipod(Device device, Capabilities capabilities, Report& report)
    : mDevice(std::move(device)), mCapabilities(std::move(capabilities)), mReport(report),
      mLanding(mDevice.mountPoint), mWake(eventfd(0, EFD_CLOEXEC)) {}

Ipod::~Ipod() {
    stop();
    if (mWake != -1) {
        close(mWake);
    }
}

void Ipod::serve() {
    if (mDevice.type != IPOD) {
        return;
    }
    if (mWake == -1) {
        throw std::runtime_error(std::string("no eventfd: ") + std::strerror(errno));
    }
    showNode(true);
    start();
}

void Ipod::showNode(bool shown) {
    if (!shown) {
        mServer.reset();
        return;
    }
    if (mServer || mDevice.type != IPOD) {
        return;
    }
    mServer = ControlNodeServer::listen(mDevice.mountPoint + CONTROLNODE);
    if (!mServer) {
        throw std::runtime_error("no node at " + mDevice.mountPoint + ": " + std::strerror(errno));
    }
}

/** The thread stands still for as long as this lives. */
class Ipod::Pause {
public:
    explicit Pause(Ipod& ipod) : mIpod(ipod) { mIpod.stop(); }
    ~Pause() { mIpod.start(); }
    Pause(Pause const&) = delete;
    Pause& operator=(Pause const&) = delete;

private:
    Ipod& mIpod;
};

void Ipod::withdraw() {
    Pause const pause(*this);
    showNode(false);
}

void Ipod::restore() {
    Pause const pause(*this);
    showNode(!mFaults.refuseOpen);
}

void Ipod::setCapabilities(Capabilities capabilities) {
    Pause const pause(*this);
    mCapabilities = std::move(capabilities);
}

void Ipod::setFaults(Faults const& faults) {
    Pause const pause(*this);
    showNode(!faults.refuseOpen);
    mFaults = faults;
}

Json::Value Ipod::describe() const {
    Json::Value fields = mDevice.toJson();
    fields["caps"] = Json::arrayValue;
    for (auto const capability : mCapabilities) {
        fields["caps"].append(capability);
    }
    fields["fault"] = mFaults.text;
    return fields;
}

void Ipod::start() {
    mThread = std::thread(&Ipod::run, this);
}

void Ipod::stop() {
    if (!mThread.joinable()) {
        return;
    }
    eventfd_write(mWake, 1);
    mThread.join();
    eventfd_t ignored = 0;
    eventfd_read(mWake, &ignored);
}

void Ipod::run() {
    for (;;) {
        std::vector<pollfd> waited{{mWake, POLLIN, 0}};
        waited.push_back({mServer ? mServer->fd() : -1, POLLIN, 0});
        for (auto const& peer : mPeers) {
            short const event = peer->hasUnsent() ? POLLOUT : POLLIN;
            waited.push_back({peer->fd(), event, 0});
        }
        if (poll(waited.data(), waited.size(), -1) == -1) {
            continue;
        }
        if (waited[0].revents != 0) {
            return;
        }
        serveReady(waited);
    }
}

void Ipod::serveReady(std::vector<pollfd> const& waited) {
    auto ready = waited.begin() + 2;
    for (auto peer = mPeers.begin(); ready != waited.end(); ++ready) {
        bool const stays = ready->revents == 0 || progress(**peer);
        peer = stays ? std::next(peer) : mPeers.erase(peer);
    }
    if (waited[1].revents == 0) {
        return;
    }
    if (auto peer = mServer->accept()) {
        mPeers.push_back(std::move(peer));
    }
}

bool Ipod::progress(ControlNodePeer& peer) {
    return peer.hasUnsent() ? peer.flush() : read(peer);
}

bool Ipod::read(ControlNodePeer& peer) {
    switch (peer.read()) {
    case ControlNodePeer::Progress::Waiting:
        return true;
    case ControlNodePeer::Progress::Arrived:
        return answer(peer);
    case ControlNodePeer::Progress::Gone:
        return false;
    }
    return false;
}

bool Ipod::answer(ControlNodePeer& peer) {
    ControlNodeRequest const& request = peer.request();
    bool const capabilities = asksForCapabilities(request);
    bool const tags = bringsTags(request);
    char const* const event = capabilities ? "capabilities" : tags ? "tags" : "refused";
    Json::Value fields;
    fields["device"] = mDevice.id;
    delay(event);
    ControlNodeReply const reply = capabilities ? answerCapabilities(request, fields)
                                   : tags       ? answerTags(request, fields)
                                                : refusal(request, fields);
    bool const vanishing = mFaults.vanishesFrom(capabilities, tags);
    if (vanishing) {
        fields["vanished"] = true;
        fields["errno"] = EIO; // what its client sees
    }
    mReport.line(event, fields);
    return vanishing ? vanish(peer, reply) : peer.startReply(reply);
}

ControlNodeReply Ipod::answerCapabilities(ControlNodeRequest const& request,
                                          Json::Value& fields) const {
    ControlNodeReply reply;
    fields["errno"] = mFaults.capabilitiesErrno;
    fields["replyRoom"] = request.replyRoom;
    if (mFaults.capabilitiesErrno != 0) {
        reply.status = -mFaults.capabilitiesErrno;
        return reply;
    }
    reply.data.resize(WORD_BYTES + mCapabilities.size() * CAPABILITY_BYTES);
    std::uint8_t* next = reply.data.data();
    putLE32(next, static_cast<std::uint32_t>(mCapabilities.size()));
    next += WORD_BYTES;
    for (auto const capability : mCapabilities) {
        putLE16(next, capability);
        next += CAPABILITY_BYTES;
    }
    return reply;
}

ControlNodeReply Ipod::answerTags(ControlNodeRequest const& request, Json::Value& fields) {
    ControlNodeReply reply;
    reply.status = mFaults.tagsErrno;
    reply.info = mFaults.tagsInfo;
    std::string const text(request.data.begin(), request.data.end());
    std::string fault;
    fields["wellFormed"] = isPropertyList(text, fault);
    if (!fault.empty()) {
        fields["fault"] = fault;
    }
    bool const taken = reply.status == 0 && !mFaults.vanishesFrom(false, true);
    fields["bytes"] = Json::UInt64(text.size());
    fields["errno"] = reply.status;
    fields["file"] = mLanding.land(text, taken);
    return reply;
}

bool Ipod::vanish(ControlNodePeer& peer, ControlNodeReply const& reply) {
    auto bytes = ControlNodePeer::encode(reply);
    bytes.resize(bytes.size() / 2);
    peer.startSend(std::move(bytes));
    return false;
}

void Ipod::delay(char const* event) {
    if (mFaults.delay.count() == 0) {
        return;
    }
    Json::Value fields;
    fields["device"] = mDevice.id;
    fields["what"] = event;
    mReport.line("delayed", fields);
    pollfd waited{mWake, POLLIN, 0};
    poll(&waited, 1, static_cast<int>(mFaults.delay.count()));
}
