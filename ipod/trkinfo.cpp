// Track records, read through a handle.
//
// A record is a run of entries with big-endian lengths, written by the device: nothing in it is
// trusted. An entry that reaches beyond the record, or a record that reaches beyond the buffer,
// ends the search, and no byte outside is looked at.
#include "ipod/ipodlib.h"

#include "ipod/IpodRequest.h"
#include "platform/ByteOrder.h"
#include "platform/ControlNode.h"
#include "platform/StackRoom.h"
#include "platform/neutrino.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <string>
#include <unistd.h>

namespace {

constexpr std::size_t BUFFER_SIZE = 0x8000;
constexpr std::uint16_t GET_TRKINFO = 0x0401;

/** Stack that must stay free beside a composed path. */
constexpr std::size_t STACK_TO_SPARE = 128;

constexpr std::size_t LENGTH_OFFSET = 4;
constexpr std::size_t ENTRIES_OFFSET = 8;
constexpr std::size_t ENTRY_HEADER_SIZE = 5; // a type byte and a length
constexpr unsigned int FIELD_BITS = 32;

int failWith(int error) {
    errno = error;
    return -1;
}

} // namespace

struct ipod_trkinfo_list {
    std::uint8_t buffer[BUFFER_SIZE];
    std::uint8_t terminator; ///< always zero: the end of a value at the end of the buffer
    std::uint32_t bufferSize;
    std::uint32_t cursors[2];
    std::uint32_t valid;
    std::uint32_t position;
    std::uint8_t const* record; ///< null until a record has been received
    std::uint32_t reserved;
    std::uint32_t options;
    std::uint32_t mask; ///< bit n asks for track field n
};

struct ipod_handle {
    int fd;
    ipod_trkinfo_list list;
};

namespace {

/** The value of one entry, inside the buffer. */
struct Value {
    char const* text;
    std::size_t size;
};

/** Walks the entries of a record. */
class RecordReader {
public:
    RecordReader(std::uint8_t const* record, std::size_t bufferSize)
        : mRecord(record), mEnd(ENTRIES_OFFSET) {
        std::size_t const length = getBE32(record + LENGTH_OFFSET);
        if (length <= bufferSize - ENTRIES_OFFSET) {
            mEnd += length;
        }
    }

    /** Steps to the next entry. False at the end, or where an entry reaches beyond it. */
    bool next() {
        if (mEnd - mNext < ENTRY_HEADER_SIZE) {
            return false;
        }
        std::uint8_t const* const entry = mRecord + mNext;
        std::size_t const room = mEnd - mNext - ENTRY_HEADER_SIZE;
        mType = entry[0];
        mValue = {reinterpret_cast<char const*>(entry + ENTRY_HEADER_SIZE), getBE32(entry + 1)};
        if (mValue.size > room) {
            return false;
        }
        mNext += ENTRY_HEADER_SIZE + mValue.size;
        return true;
    }

    bool isField(std::uint32_t field) const {
        return mType < FIELD_BITS && std::uint32_t{1} << mType == field;
    }

    Value value() const { return mValue; }

private:
    std::uint8_t const* mRecord;
    std::size_t mEnd;
    std::size_t mNext = ENTRIES_OFFSET;
    unsigned int mType = 0;
    Value mValue{};
};

int findValue(ipod_handle* handle, int number, std::uint32_t field, Value& value) {
    ipod_trkinfo_list const* const list = trkinfo_get_list_ptr(handle, number);
    if (list == nullptr || (list->mask & field) == 0) {
        return failWith(EINVAL);
    }
    if (list->record == nullptr) {
        return -1;
    }
    RecordReader reader(list->record, list->bufferSize);
    while (reader.next()) {
        if (reader.isField(field)) {
            value = reader.value();
            return 0;
        }
    }
    return -1;
}

struct Free {
    void operator()(ipod_handle* handle) const { std::free(handle); }
};
using OwnedHandle = std::unique_ptr<ipod_handle, Free>;

} // namespace

ipod_handle* ipod_connect(char const* path, int flags) {
    if (path == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    // The path is not composed on the stack, yet a caller with too little stack for it is refused:
    // what a deep caller gets does not depend on how it is composed.
    // Test: IpodConnect.APathLongerThanTheStackIsRefusedWithENOMEM.
    std::size_t const needed = std::strlen(path) + sizeof CONTROLNODE + STACK_TO_SPARE;
    OwnedHandle handle;
    if (stackRoom() >= needed) {
        handle.reset(static_cast<ipod_handle*>(std::calloc(1, sizeof(ipod_handle))));
    }
    if (handle == nullptr) {
        errno = ENOMEM;
        return nullptr;
    }
    handle->fd = ipod_open((std::string(path) + CONTROLNODE).c_str(), flags | O_RDWR);
    if (handle->fd == -1) {
        errno = EINVAL;
        return nullptr;
    }
    handle->list.bufferSize = BUFFER_SIZE;
    return handle.release();
}

int ipod_disconnect(ipod_handle* handle) {
    OwnedHandle const owned(handle);
    close(owned->fd);
    return 0;
}

int ipod_trkinfo_set_options(ipod_handle* handle, int number, std::uint32_t mask,
                             std::uint32_t options) {
    ipod_trkinfo_list* const list = trkinfo_get_list_ptr(handle, number);
    if (list == nullptr) {
        return failWith(EINVAL);
    }
    list->mask = mask;
    list->options = options;
    list->valid = 0;
    list->position = 0;
    return 0;
}

int ipod_uid_get_trkinfo(ipod_handle* handle, int /*list*/, std::uint64_t uid) {
    ipod_trkinfo_list& list = handle->list;
    IpodRequest request(GET_TRKINFO, IpodRequest::USUAL_SIZE, IpodRequest::USUAL_SIZE);
    request.word(8, list.mask).word(12, list.bufferSize).longWord(16, uid);
    IpodReplyWord word;
    IpodParts parts;
    IpodParts reply;
    parts.add(request.data(), request.size());
    reply.add(word.data(), word.size()).add(list.buffer, list.bufferSize);
    int const result = static_cast<int>(
        MsgSendv(handle->fd, parts.data(), parts.count(), reply.data(), reply.count()));
    if (result == 0) {
        list.valid = 1;
        list.cursors[0] = 0;
        list.cursors[1] = 0;
        list.position = 0;
        list.record = list.buffer;
    }
    return result < 0 ? -1 : 0;
}

int ipod_trkinfo_get_string(ipod_handle* handle, int list, std::uint32_t field,
                            char const** value) {
    Value found{};
    int const result = findValue(handle, list, field, found);
    if (result == 0) {
        *value = found.text;
    }
    return result;
}

int ipod_trkinfo_get_number(ipod_handle* handle, int list, std::uint32_t field,
                            unsigned long long* value) {
    Value found{};
    int const result = findValue(handle, list, field, found);
    if (result == 0) {
        // The copy ends the digits where the value ends, also where no zero byte does.
        std::string const digits(found.text, found.size);
        *value = std::strtoull(digits.c_str(), nullptr, 10);
    }
    return result;
}

ipod_trkinfo_list* trkinfo_get_list_ptr(ipod_handle* handle, int list) {
    return list == 0 ? &handle->list : nullptr;
}
