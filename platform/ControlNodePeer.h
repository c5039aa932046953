#pragma once

#include "platform/ControlNodeFrame.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/** One request as a driver gets it. */
struct ControlNodeRequest {
    ControlNodeKind kind;
    std::uint32_t dcmd;             ///< the device command, 0 for a message
    std::uint32_t replyRoom;        ///< how many bytes of data the sender takes
    std::vector<std::uint8_t> data; ///< all parts joined
};

/** What a driver answers. */
struct ControlNodeReply {
    std::int32_t status = 0;
    std::int32_t info = 0;
    std::vector<std::uint8_t> data;
};

/**
 * The driver's side of one open control node.
 *
 * For a poll loop: when fd() is readable, call read(); on Arrived answer request() with
 * startReply(), now or later; while hasUnsent(), call flush() when fd() is writable, and read on
 * after that. One thread uses a peer at a time.
 */
class ControlNodePeer {
public:
    enum class Progress {
        Waiting, ///< the request is not complete yet
        Arrived, ///< request() is complete
        Gone     ///< the other side has closed, or sent what is no request
    };

    /** Takes over a connected socket. */
    explicit ControlNodePeer(int fd);
    /** Closes the connection, also in the middle of an exchange. */
    ~ControlNodePeer();
    ControlNodePeer(ControlNodePeer const&) = delete;
    ControlNodePeer& operator=(ControlNodePeer const&) = delete;

    /** The socket, for poll(); stays this object's. */
    int fd() const;

    /** Takes what has come in, without waiting. No further call before the reply to an Arrived. */
    Progress read();
    /** The last request that arrived; valid until the next read(). */
    ControlNodeRequest const& request() const;

    /**
     * Answers the request, without waiting: what the sender does not take yet is kept for flush().
     * Data beyond the sender's room is cut off. No other call that sends, and no read(), until all
     * is sent. False if the peer is gone.
     */
    bool startReply(ControlNodeReply reply);
    /** Sends any bytes in this way. */
    bool startSend(std::vector<std::uint8_t> bytes);
    /** Whether something is kept for flush(). */
    bool hasUnsent() const;
    /** Sends on, without waiting. False if the peer is gone. */
    bool flush();

    /** The bytes of a reply as they travel, uncut, for a driver that is to misbehave. */
    static std::vector<std::uint8_t> encode(ControlNodeReply const& reply);

private:
    enum class Stage { Header, Data };

    std::size_t missing() const;
    Progress take(std::uint8_t const* bytes, std::size_t count);
    Progress headerComplete();
    std::vector<std::uint8_t> encodeCut(ControlNodeReply reply) const;

    int mFd;
    Stage mStage = Stage::Header;
    std::size_t mHeaderBytes = 0;
    std::size_t mDataBytes = 0;
    ControlNodeRequestHeader::Bytes mHeader{};
    ControlNodeRequest mRequest{};
    std::vector<std::uint8_t> mUnsent;
    std::size_t mSent = 0; ///< how much of it has gone
};
