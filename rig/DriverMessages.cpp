#include "rig/DriverMessages.h"

#include "platform/ByteOrder.h"

#include <cerrno>

namespace {

constexpr std::uint32_t SEND_TAGS = 0x80010E84;
constexpr std::uint16_t IPOD_MANAGER = 0x0013;
constexpr std::uint16_t GET_CAPABILITIES = 0x0032;
constexpr std::size_t MESSAGE_BYTES = 24;
constexpr std::size_t MANAGER_AT = 4;
constexpr std::size_t CODE_AT = 6;
constexpr std::size_t WORD_BYTES = 4;
constexpr std::size_t CAPABILITY_BYTES = 2;

bool isMessage(ControlNodeRequest const& request) {
    return request.kind == ControlNodeKind::Message;
}

bool asksForCapabilities(ControlNodeRequest const& request) {
    return isMessage(request) && request.data.size() == MESSAGE_BYTES
           && getLE16(request.data.data() + MANAGER_AT) == IPOD_MANAGER
           && getLE16(request.data.data() + CODE_AT) == GET_CAPABILITIES;
}

} // namespace

DriverRequest recognize(ControlNodeRequest const& request) {
    if (asksForCapabilities(request)) {
        return DriverRequest::GetCapabilities;
    }
    bool const bringsTags = !isMessage(request) && request.dcmd == SEND_TAGS;
    return bringsTags ? DriverRequest::SendTags : DriverRequest::Unknown;
}

char const* nameOf(DriverRequest request) {
    switch (request) {
    case DriverRequest::GetCapabilities:
        return "capabilities";
    case DriverRequest::SendTags:
        return "tags";
    case DriverRequest::Unknown:
        return "refused";
    }
    return "";
}

std::vector<std::uint8_t> encode(Capabilities const& capabilities) {
    std::vector<std::uint8_t> bytes(WORD_BYTES + capabilities.size() * CAPABILITY_BYTES);
    std::uint8_t* next = bytes.data();
    putLE32(next, static_cast<std::uint32_t>(capabilities.size()));
    next += WORD_BYTES;
    for (auto const capability : capabilities) {
        putLE16(next, capability);
        next += CAPABILITY_BYTES;
    }
    return bytes;
}

ControlNodeReply refusalOf(ControlNodeRequest const& request) {
    ControlNodeReply reply;
    reply.status = isMessage(request) ? -ENOSYS : ENOTTY;
    return reply;
}

Json::Value describeUnknown(ControlNodeRequest const& request) {
    Json::Value fields;
    fields["errno"] = isMessage(request) ? ENOSYS : ENOTTY;
    fields["bytes"] = Json::UInt64(request.data.size());
    if (isMessage(request) && request.data.size() >= MESSAGE_BYTES) {
        fields["code"] = getLE16(request.data.data() + CODE_AT);
    } else {
        fields["dcmd"] = request.dcmd;
    }
    return fields;
}
