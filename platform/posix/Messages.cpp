// Message passing and device control over the socket of a control node.
//
// Every call is one exchange: a request header and the caller's parts go out, a reply header and at
// most as many bytes as the caller has room for come in. What the driver's side says is not
// trusted: a reply that breaks off or announces more than the room ends the connection, so that its
// rest can never be taken for the answer to a later request.
#include "platform/ControlNodeFrame.h"
#include "platform/devctl.h"
#include "platform/neutrino.h"
#include "platform/posix/SocketParts.h"
#include "platform/posix/SystemCall.h"

#include <climits>
#include <sys/socket.h>

namespace {

/** The two sides of one exchange. */
struct Buffers {
    SocketParts out;
    SocketParts in;
};

/** Takes over a list of parts as QNX checks it. @return 0 or an errno value */
int collect(SocketParts& target, iov_t const* parts, int count) {
    if (count < 0) {
        return EINVAL;
    }
    for (int i = 0; i < count; ++i) {
        iov_t const& part = parts[i];
        if (part.iov_len > INT_MAX - target.size()) {
            return EOVERFLOW;
        }
        if (part.iov_base == nullptr && part.iov_len > 0) {
            return EFAULT;
        }
        target.add(part.iov_base, part.iov_len);
    }
    return 0;
}

int sendRequest(int fd, ControlNodeKind kind, std::uint32_t dcmd, Buffers& buffers) {
    ControlNodeRequestHeader const header{static_cast<std::uint32_t>(kind), dcmd,
                                          static_cast<std::uint32_t>(buffers.out.size()),
                                          static_cast<std::uint32_t>(buffers.in.size())};
    auto const bytes = header.encode();
    buffers.out.addFront(bytes.data(), bytes.size());
    return buffers.out.sendTo(fd);
}

int receiveReply(int fd, SocketParts& room, ControlNodeReplyHeader& reply) {
    ControlNodeReplyHeader::Bytes bytes{};
    SocketParts header;
    header.add(bytes.data(), bytes.size());
    int const error = header.receiveFrom(fd);
    if (error != 0) {
        return error;
    }
    reply = ControlNodeReplyHeader::decode(bytes);
    if (reply.dataBytes > room.size()) {
        return EIO;
    }
    room.trim(reply.dataBytes);
    return room.receiveFrom(fd);
}

int exchange(int fd, ControlNodeKind kind, std::uint32_t dcmd, Buffers& buffers,
             ControlNodeReplyHeader& reply) {
    int error = sendRequest(fd, kind, dcmd, buffers);
    if (error == 0) {
        error = receiveReply(fd, buffers.in, reply);
    }
    if (error == ENOTSOCK) {
        return ENOSYS;
    }
    if (error != 0) {
        shutdown(fd, SHUT_RDWR);
    }
    return error;
}

int resultOfMessage(int status) {
    if (status == INT_MIN) {
        return failWith(EIO);
    }
    return status < 0 ? failWith(-status) : status;
}

iov_t onePart(void const* address, std::size_t length) {
    iov_t part{};
    SETIOV(&part, address, length);
    return part;
}

} // namespace

int MsgSendv(int coid, iov_t const* parts, int count, iov_t const* replyParts, int replyCount) {
    Buffers buffers;
    ControlNodeReplyHeader reply{};
    int error = collect(buffers.out, parts, count);
    if (error == 0) {
        error = collect(buffers.in, replyParts, replyCount);
    }
    if (error == 0) {
        error = exchange(coid, ControlNodeKind::Message, 0, buffers, reply);
    }
    return error != 0 ? failWith(error) : resultOfMessage(reply.status);
}

int MsgSend(int coid, void const* message, std::size_t size, void* reply, std::size_t room) {
    iov_t const out = onePart(message, size);
    iov_t const in = onePart(reply, room);
    return MsgSendv(coid, &out, 1, &in, 1);
}

int MsgSendsv(int coid, void const* message, std::size_t size, iov_t const* replyParts,
              int replyCount) {
    iov_t const out = onePart(message, size);
    return MsgSendv(coid, &out, 1, replyParts, replyCount);
}

int MsgSendvs(int coid, iov_t const* parts, int count, void* reply, std::size_t room) {
    iov_t const in = onePart(reply, room);
    return MsgSendv(coid, parts, count, &in, 1);
}

int devctl(int fd, int dcmd, void* data, std::size_t n_bytes, int* info) {
    auto const command = static_cast<std::uint32_t>(dcmd);
    iov_t const whole = onePart(data, n_bytes);
    Buffers buffers;
    ControlNodeReplyHeader reply{};
    int error = 0;
    if ((command & _POSIX_DEVDIR_TO) != 0) {
        error = collect(buffers.out, &whole, 1);
    }
    if (error == 0 && (command & _POSIX_DEVDIR_FROM) != 0) {
        error = collect(buffers.in, &whole, 1);
    }
    if (error == 0) {
        error = exchange(fd, ControlNodeKind::Devctl, command, buffers, reply);
    }
    if (error != 0) {
        return error;
    }
    if (info != nullptr) {
        *info = reply.info;
    }
    return reply.status < 0 ? EIO : reply.status;
}
