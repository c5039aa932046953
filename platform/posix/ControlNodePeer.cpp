#include "platform/ControlNodePeer.h"

#include "platform/posix/SystemCall.h"

#include <algorithm>
#include <array>
#include <climits>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace {

/** Room is made as bytes arrive and never on the word of a header. */
constexpr std::size_t CHUNK = 65536;

/** Whether a call that does not wait would have had to. */
bool wouldWait(ssize_t result) {
    return result == -1 && (errno == EAGAIN || errno == EWOULDBLOCK);
}

bool isRequest(ControlNodeRequestHeader const& header) {
    bool const known = header.kind == static_cast<std::uint32_t>(ControlNodeKind::Message)
                       || header.kind == static_cast<std::uint32_t>(ControlNodeKind::Devctl);
    return known && header.sendBytes <= INT_MAX && header.replyRoom <= INT_MAX;
}

} // namespace

ControlNodePeer::ControlNodePeer(int fd) : mFd(fd) {}

ControlNodePeer::~ControlNodePeer() {
    close(mFd);
}

int ControlNodePeer::fd() const {
    return mFd;
}

ControlNodePeer::Progress ControlNodePeer::read() {
    std::array<std::uint8_t, CHUNK> chunk; // NOLINT: filled by recv
    for (;;) {
        std::size_t const wanted = std::min(missing(), chunk.size());
        ssize_t const count =
            uninterrupted([&] { return recv(mFd, chunk.data(), wanted, MSG_DONTWAIT); });
        if (count <= 0) {
            return wouldWait(count) ? Progress::Waiting : Progress::Gone;
        }
        Progress const progress = take(chunk.data(), static_cast<std::size_t>(count));
        if (progress != Progress::Waiting) {
            return progress;
        }
    }
}

ControlNodeRequest const& ControlNodePeer::request() const {
    return mRequest;
}

bool ControlNodePeer::startReply(ControlNodeReply reply) {
    return startSend(encodeCut(std::move(reply)));
}

std::vector<std::uint8_t> ControlNodePeer::encodeCut(ControlNodeReply reply) const {
    std::size_t const room = mRequest.replyRoom;
    reply.data.resize(std::min(reply.data.size(), room));
    return encode(reply);
}

std::vector<std::uint8_t> ControlNodePeer::encode(ControlNodeReply const& reply) {
    ControlNodeReplyHeader const header{reply.status, reply.info,
                                        static_cast<std::uint32_t>(reply.data.size())};
    auto const head = header.encode();
    std::vector<std::uint8_t> bytes(head.size() + reply.data.size());
    std::copy(reply.data.begin(), reply.data.end(),
              std::copy(head.begin(), head.end(), bytes.begin()));
    return bytes;
}

bool ControlNodePeer::startSend(std::vector<std::uint8_t> bytes) {
    mUnsent = std::move(bytes);
    mSent = 0;
    return flush();
}

bool ControlNodePeer::hasUnsent() const {
    return mSent < mUnsent.size();
}

bool ControlNodePeer::flush() {
    while (hasUnsent()) {
        ssize_t const count = uninterrupted([this] {
            return send(mFd, mUnsent.data() + mSent, mUnsent.size() - mSent,
                        MSG_DONTWAIT | MSG_NOSIGNAL);
        });
        if (count == -1) {
            return wouldWait(count);
        }
        mSent += static_cast<std::size_t>(count);
    }
    return true;
}

std::size_t ControlNodePeer::missing() const {
    return mStage == Stage::Header ? mHeader.size() - mHeaderBytes
                                   : mDataBytes - mRequest.data.size();
}

ControlNodePeer::Progress ControlNodePeer::take(std::uint8_t const* bytes, std::size_t count) {
    if (mStage == Stage::Header) {
        std::copy_n(bytes, count, mHeader.begin() + static_cast<std::ptrdiff_t>(mHeaderBytes));
        mHeaderBytes += count;
    } else {
        mRequest.data.insert(mRequest.data.end(), bytes, bytes + count);
    }
    if (missing() > 0) {
        return Progress::Waiting;
    }
    if (mStage == Stage::Header) {
        return headerComplete();
    }
    mStage = Stage::Header;
    return Progress::Arrived;
}

ControlNodePeer::Progress ControlNodePeer::headerComplete() {
    auto const header = ControlNodeRequestHeader::decode(mHeader);
    mHeaderBytes = 0;
    if (!isRequest(header)) {
        return Progress::Gone;
    }
    mRequest = {static_cast<ControlNodeKind>(header.kind), header.dcmd, header.replyRoom, {}};
    mDataBytes = header.sendBytes;
    if (mDataBytes == 0) {
        return Progress::Arrived;
    }
    mStage = Stage::Data;
    return Progress::Waiting;
}
