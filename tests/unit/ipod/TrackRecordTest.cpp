#include "ipod/ipodlib.h"

#include "support/Bytes.h"
#include "support/DriverLinkPage.h"
#include "support/ServedNode.h"
#include "support/TempDir.h"

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <pthread.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

constexpr char CONTROL[] = "/.FS_info./control";
constexpr std::size_t BUFFER_SIZE = 0x8000;
constexpr std::uint64_t UID = 0x1122334455667788;
constexpr std::size_t STACK_BESIDE_A_PATH = 128;

std::string z(std::string const& text) {
    return text + '\0';
}

/** One entry of a record. */
std::string entry(unsigned int type, std::string const& value) {
    return static_cast<char>(type) + be32(value.size()) + value;
}

/** An entry that tells a length of its own. */
std::string entryOfLength(unsigned int type, std::uint64_t length, std::string const& value) {
    return static_cast<char>(type) + be32(length) + value;
}

/** A record that tells a length of its own for the entries. */
std::string recordOfLength(std::uint64_t length, std::string const& entries) {
    return "skip" + be32(length) + entries;
}

std::string record(std::string const& entries) {
    return recordOfLength(entries.size(), entries);
}

std::uint32_t bit(unsigned int n) {
    return std::uint32_t{1} << n;
}

constexpr std::uint32_t ALL_FIELDS = 0xFFFFFFFF;

std::optional<std::size_t> orderedStackRoom;
thread_local bool memoryIsOut = false;

class TrackRecord : public ::testing::Test {
protected:
    struct Disconnect {
        void operator()(ipod_handle* handle) const { EXPECT_EQ(0, ipod_disconnect(handle)); }
    };

    /** Serves the node with these answers in turn, and opens it. */
    void answer(std::vector<ControlNodeReply> replies) {
        mHandle.reset();
        mNode.reset();
        auto const driver = [replies = std::move(replies),
                             next = std::size_t{0}](ControlNodePeer& peer) mutable {
            return peer.startReply(replies.at(next++));
        };
        mNode = std::make_unique<ServedNode>(mFolder.path() + CONTROL, driver);
        mHandle.reset(ipod_connect(mFolder.path().c_str(), 0));
        ASSERT_NE(nullptr, mHandle);
        EXPECT_EQ(0, ipod_trkinfo_set_options(mHandle.get(), 0, ALL_FIELDS, 0));
    }

    static ControlNodeReply with(std::string const& record, std::int32_t status = 0) {
        std::string const data = le(0) + record;
        return {status, 0, {data.begin(), data.end()}};
    }

    /** Serves this record and reads it into the handle. */
    void read(std::string const& bytes) {
        answer({with(bytes)});
        ASSERT_EQ(0, ipod_uid_get_trkinfo(mHandle.get(), 0, UID));
    }

    /** The value of a field; "none" if the record has none. */
    std::string text(unsigned int n) {
        char const* value = nullptr;
        errno = 0;
        int const result = ipod_trkinfo_get_string(mHandle.get(), 0, bit(n), &value);
        if (result == 0) {
            return value;
        }
        EXPECT_EQ(-1, result);
        EXPECT_EQ(0, errno) << "errno stays as it was";
        EXPECT_EQ(nullptr, value);
        return "none";
    }

    bool number(unsigned int n, unsigned long long& value) {
        return ipod_trkinfo_get_number(mHandle.get(), 0, bit(n), &value) == 0;
    }

    void expectInvalid(int result) {
        EXPECT_EQ(-1, result);
        EXPECT_EQ(EINVAL, errno);
        errno = 0;
    }

    TempDir mFolder;
    std::unique_ptr<ServedNode> mNode;
    std::unique_ptr<ipod_handle, Disconnect> mHandle;
};

TEST_F(TrackRecord, IsAskedForWithTheMaskTheRoomAndTheTrack) {
    answer({with(record(""))});
    ipod_trkinfo_set_options(mHandle.get(), 0, 0x00A0B0C0, 0x77);
    ASSERT_EQ(0, ipod_uid_get_trkinfo(mHandle.get(), 0, UID));
    auto const requests = mNode->requests();
    ASSERT_EQ(1U, requests.size());
    EXPECT_EQ(hex("13 01  18 00  13 00  01 04"
                  "c0 b0 a0 00  00 80 00 00  88 77 66 55  44 33 22 11"),
              std::string(requests[0].data.begin(), requests[0].data.end()));
    EXPECT_EQ(4 + BUFFER_SIZE, requests[0].replyRoom);
}

TEST_F(TrackRecord, TheRecordOfTheDriverLinkPageIsReadFieldByField) {
    read(DriverLinkPage().example("Track records")[""]);
    EXPECT_EQ("Title", text(0));
    unsigned long long value = 0;
    EXPECT_TRUE(number(7, value));
    EXPECT_EQ(9U, value);
    EXPECT_EQ("none", text(1));
}

TEST_F(TrackRecord, TheListOfTheReadIsNotLookedAt) {
    answer({with(record(entry(1, z("x"))))});
    EXPECT_EQ(0, ipod_uid_get_trkinfo(mHandle.get(), 99, UID));
    EXPECT_EQ("x", text(1));
}

TEST_F(TrackRecord, SeveralEntriesAreFoundByTheirType) {
    read(record(entry(0, z("Title")) + entry(7, z("Artist")) + entry(31, z("Last"))));
    EXPECT_EQ("Title", text(0));
    EXPECT_EQ("Artist", text(7));
    EXPECT_EQ("Last", text(31));
    EXPECT_EQ("none", text(1));
}

TEST_F(TrackRecord, OfTwoEntriesOfATypeTheFirstCounts) {
    read(record(entry(3, z("first")) + entry(3, z("second"))));
    EXPECT_EQ("first", text(3));
}

TEST_F(TrackRecord, AnEntryOfLengthZeroIsFoundAndSteppedOver) {
    read(record(entry(1, "") + entry(2, z("two")) + entry(3, "")));
    EXPECT_EQ("two", text(2));
    EXPECT_EQ("", text(3)) << "at the end of the record, where the buffer is still zero";
    char const* value = nullptr;
    EXPECT_EQ(0, ipod_trkinfo_get_string(mHandle.get(), 0, bit(1), &value));
    EXPECT_NE(nullptr, value);
}

TEST_F(TrackRecord, AnEmptyRecordHasNoField) {
    read(record(""));
    EXPECT_EQ("none", text(0));
}

TEST_F(TrackRecord, TypesBeyondTheBitsOfAFieldNeverMatch) {
    read(record(entry(32, z("a")) + entry(64, z("b")) + entry(255, z("c")) + entry(0, z("d"))));
    EXPECT_EQ("d", text(0));
    EXPECT_EQ("none", text(31));
}

TEST_F(TrackRecord, FieldsThatWereNotAskedForAreEINVAL) {
    read(record(entry(1, z("one")) + entry(2, z("two"))));
    ipod_trkinfo_set_options(mHandle.get(), 0, bit(1), 0);
    char const* value = nullptr;
    unsigned long long digits = 0;
    expectInvalid(ipod_trkinfo_get_string(mHandle.get(), 0, bit(2), &value));
    expectInvalid(ipod_trkinfo_get_number(mHandle.get(), 0, bit(2), &digits));
    expectInvalid(ipod_trkinfo_get_string(mHandle.get(), 0, 0, &value));
    EXPECT_EQ("one", text(1));
}

TEST_F(TrackRecord, ListsOtherThanZeroAreEINVAL) {
    read(record(entry(1, z("one"))));
    char const* value = nullptr;
    unsigned long long digits = 0;
    expectInvalid(ipod_trkinfo_set_options(mHandle.get(), 1, 1, 0));
    expectInvalid(ipod_trkinfo_set_options(mHandle.get(), -1, 1, 0));
    expectInvalid(ipod_trkinfo_get_string(mHandle.get(), 1, bit(1), &value));
    expectInvalid(ipod_trkinfo_get_number(mHandle.get(), 1, bit(1), &digits));
    EXPECT_EQ("one", text(1)) << "the mask is as it was";
}

TEST_F(TrackRecord, TheLookUpKnowsListZeroOnly) {
    answer({});
    EXPECT_NE(nullptr, trkinfo_get_list_ptr(mHandle.get(), 0));
    for (int const list : {1, 2, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(nullptr, trkinfo_get_list_ptr(mHandle.get(), list));
    }
}

TEST_F(TrackRecord, BeforeAnyReadThereIsNoField) {
    answer({});
    EXPECT_EQ("none", text(1));
}

TEST_F(TrackRecord, AnEntryThatReachesBeyondTheRecordIsRefused) {
    std::string const good = entry(1, z("one"));
    for (std::uint64_t const length : {5U, 6U, 1000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        read(record(good + entryOfLength(2, length, z("two"))));
        EXPECT_EQ("one", text(1)) << "what stands before it is found";
        EXPECT_EQ("none", text(2)) << length;
    }
}

TEST_F(TrackRecord, AnEntryMayReachToTheLastByteOfTheRecordButNoFurther) {
    read(record(entryOfLength(2, 4, z("two"))));
    EXPECT_EQ("two", text(2));
    read(recordOfLength(8, entryOfLength(2, 4, z("two"))));
    EXPECT_EQ("none", text(2)) << "the record is one byte short";
}

TEST_F(TrackRecord, AnEntryHeaderCutByTheEndOfTheRecordIsNoEntry) {
    std::string const entries = entry(1, z("x")) + entry(2, "");
    for (std::size_t cut = 0; cut < 5; ++cut) {
        read(recordOfLength(7 + cut, entries));
        EXPECT_EQ("none", text(2)) << cut << " bytes of the header";
    }
    read(record(entries));
    EXPECT_EQ("", text(2));
}

TEST_F(TrackRecord, ARecordThatFillsTheBufferIsReadToItsEnd) {
    std::string const last = entry(9, "the end"); // no terminating zero
    std::string const fill = entry(1, std::string(BUFFER_SIZE - 8 - 5 - last.size(), 'f'));
    read(record(fill + last));
    EXPECT_EQ("the end", text(9)) << "a zero stands behind the buffer";
}

TEST_F(TrackRecord, ALengthOfZeroAtTheVeryEndOfTheBufferIsAnEmptyText) {
    std::string const last = entry(9, "");
    read(record(entry(1, std::string(BUFFER_SIZE - 8 - 5 - last.size(), 'f')) + last));
    EXPECT_EQ("", text(9));
}

TEST_F(TrackRecord, ARecordThatReachesBeyondTheBufferIsRefused) {
    std::string const entries = entry(1, z("one"));
    for (std::uint64_t const length :
         {std::uint64_t{BUFFER_SIZE - 7}, std::uint64_t{BUFFER_SIZE}, std::uint64_t{0x7FFFFFFF},
          std::uint64_t{0xFFFFFFF8}, std::uint64_t{0xFFFFFFFF}}) {
        read(recordOfLength(length, entries));
        EXPECT_EQ("none", text(1)) << length;
    }
    read(recordOfLength(BUFFER_SIZE - 8, entries));
    EXPECT_EQ("one", text(1)) << "the largest that is taken";
}

TEST_F(TrackRecord, ANumberIsReadFromTheDigitsOfItsValue) {
    struct {
        std::string value;
        unsigned long long number;
    } const cases[] = {
        {z("2009"), 2009},       {"2009", 2009}, {z("18446744073709551615"), ULLONG_MAX},
        {z("  12 minutes"), 12}, {z("x"), 0},    {z("0x10"), 0},
        {z("007"), 7},           {"", 0},
    };
    for (auto const& tested : cases) {
        read(record(entry(4, tested.value) + "99999999"));
        unsigned long long value = 12345;
        EXPECT_TRUE(number(4, value)) << tested.value;
        EXPECT_EQ(tested.number, value) << tested.value;
    }
}

TEST_F(TrackRecord, TheDigitsEndWhereTheBufferEnds) {
    std::string const last = entry(9, "777");
    read(record(entry(1, std::string(BUFFER_SIZE - 8 - 5 - last.size(), 'f')) + last));
    unsigned long long value = 0;
    EXPECT_TRUE(number(9, value));
    EXPECT_EQ(777U, value);
}

TEST_F(TrackRecord, ANumberThatIsNotThereLeavesTheVariable) {
    read(record(entry(4, z("1"))));
    unsigned long long value = 12345;
    errno = 0;
    EXPECT_FALSE(number(5, value));
    EXPECT_EQ(12345U, value);
    EXPECT_EQ(0, errno);
}

TEST_F(TrackRecord, ASecondReadReplacesTheFirst) {
    answer({with(record(entry(1, z("first")))), with(record(entry(1, z("second"))))});
    ASSERT_EQ(0, ipod_uid_get_trkinfo(mHandle.get(), 0, UID));
    EXPECT_EQ("first", text(1));
    ASSERT_EQ(0, ipod_uid_get_trkinfo(mHandle.get(), 0, UID + 1));
    EXPECT_EQ("second", text(1));
}

TEST_F(TrackRecord, AFailedReadIsMinusOneAndErrno) {
    answer({{-ENOENT, 0, {}}});
    EXPECT_EQ(-1, ipod_uid_get_trkinfo(mHandle.get(), 0, UID));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ("none", text(1));
}

TEST_F(TrackRecord, APositiveResultOfTheReadIsSuccessWithoutARecord) {
    answer({with(record(entry(1, z("one"))), 3)});
    EXPECT_EQ(0, ipod_uid_get_trkinfo(mHandle.get(), 0, UID));
    EXPECT_EQ("none", text(1));
}

class IpodConnect : public ::testing::Test {
protected:
    void expectFailure(char const* path, int error) {
        errno = 0;
        EXPECT_EQ(nullptr, ipod_connect(path, 0));
        EXPECT_EQ(error, errno);
    }

    TempDir mFolder;
};

TEST_F(IpodConnect, ANullPathIsEINVAL) {
    expectFailure(nullptr, EINVAL);
}

TEST_F(IpodConnect, ANodeThatDoesNotOpenIsEINVALWhateverTheReason) {
    expectFailure(mFolder.path().c_str(), EINVAL);
    expectFailure(std::string(5000, 'x').c_str(), EINVAL);
}

TEST_F(IpodConnect, ANodeThatIsNoSocketOpensAndRefusesEveryMessage) {
    std::filesystem::create_directories(mFolder.path(".FS_info."));
    mFolder.write(".FS_info./control", "");
    ipod_handle* const handle = ipod_connect(mFolder.path().c_str(), 0);
    ASSERT_NE(nullptr, handle);
    EXPECT_EQ(-1, ipod_uid_get_trkinfo(handle, 0, 1));
    EXPECT_EQ(ENOSYS, errno);
    EXPECT_EQ(0, ipod_disconnect(handle));
}

TEST_F(IpodConnect, OpensForReadingAndWritingWhateverTheFlags) {
    // A folder opens for reading only.
    std::filesystem::create_directories(mFolder.path(".FS_info./control"));
    int const fd = ipod_open((mFolder.path() + CONTROL).c_str(), O_RDONLY);
    EXPECT_NE(-1, fd);
    close(fd);
    expectFailure(mFolder.path().c_str(), EINVAL);
}

TEST_F(IpodConnect, DisconnectClosesTheNode) {
    auto const server = ControlNodeServer::listen(mFolder.path() + CONTROL);
    ipod_handle* const handle = ipod_connect(mFolder.path().c_str(), 0);
    ASSERT_NE(nullptr, handle);
    auto const peer = server->accept();
    EXPECT_EQ(ControlNodePeer::Progress::Waiting, peer->read());
    EXPECT_EQ(0, ipod_disconnect(handle));
    EXPECT_EQ(ControlNodePeer::Progress::Gone, peer->read());
}

struct Attempt {
    std::string path;
    int error = 0;
};

void* connectOnThisStack(void* given) {
    Attempt& attempt = *static_cast<Attempt*>(given);
    errno = 0;
    if (ipod_connect(attempt.path.c_str(), 0) == nullptr) {
        attempt.error = errno;
    }
    return nullptr;
}

/** What ipod_connect() gives on a thread with this much stack. */
int errorWithStack(std::size_t stackSize, std::size_t pathLength) {
    void* const stack = mmap(nullptr, stackSize, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    EXPECT_EQ(0, pthread_attr_setstack(&attributes, stack, stackSize));
    Attempt attempt{std::string(pathLength, 'p')};
    pthread_t thread{};
    EXPECT_EQ(0, pthread_create(&thread, &attributes, connectOnThisStack, &attempt));
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    munmap(stack, stackSize);
    return attempt.error;
}

TEST_F(IpodConnect, APathLongerThanTheStackIsRefusedWithENOMEM) {
    constexpr std::size_t SMALL = 1048576;
    EXPECT_EQ(ENOMEM, errorWithStack(SMALL, SMALL));
    EXPECT_EQ(EINVAL, errorWithStack(4 * SMALL, SMALL)) << "there it is composed and does not open";
}

TEST_F(IpodConnect, APathNeedsItsLengthAnd128BytesOfStack) {
    std::string const path = mFolder.path("gone");
    std::size_t const needed = path.size() + sizeof CONTROL + STACK_BESIDE_A_PATH;
    orderedStackRoom = needed - 1;
    expectFailure(path.c_str(), ENOMEM);
    orderedStackRoom = needed;
    expectFailure(path.c_str(), EINVAL); // it is composed and does not open
    orderedStackRoom.reset();
}

TEST_F(IpodConnect, WithoutMemoryForTheHandleItIsENOMEM) {
    ServedNode const node(mFolder.path() + CONTROL, ControlNodeReply{});
    memoryIsOut = true;
    errno = 0;
    ipod_handle* const handle = ipod_connect(mFolder.path().c_str(), 0);
    int const error = errno;
    memoryIsOut = false;
    EXPECT_EQ(nullptr, handle);
    EXPECT_EQ(ENOMEM, error);
}

} // namespace

extern "C" {

void* __real_calloc(std::size_t count, std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);

void* __wrap_calloc(std::size_t count, std::size_t size) {
    return memoryIsOut ? nullptr : __real_calloc(count, size);
}

std::size_t __real__Z9stackRoomv();
std::size_t __wrap__Z9stackRoomv();

std::size_t __wrap__Z9stackRoomv() {
    return orderedStackRoom ? *orderedStackRoom : __real__Z9stackRoomv();
}
}
