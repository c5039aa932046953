#include "platform/neutrino.h"
#include "support/BlockedThread.h"
#include "support/RawDriver.h"
#include "support/TempDir.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string>
#include <string_view>
#include <vector>

namespace {

/** Room for received bytes, with bytes behind it that must stay as they are. */
class Room {
public:
    explicit Room(std::size_t size) : mSize(size), mBytes(size + GUARD, MARK) {}

    void* data() { return mBytes.data(); }
    std::size_t size() const { return mSize; }
    iov_t part() {
        iov_t made{};
        SETIOV(&made, mBytes.data(), mSize);
        return made;
    }
    std::string taken(std::size_t count) const { return mBytes.substr(0, count); }
    /** Everything from `count` on is untouched. */
    bool isUntouchedFrom(std::size_t count) const {
        return mBytes.find_first_not_of(MARK, count) == std::string::npos;
    }

private:
    static constexpr std::size_t GUARD = 64;
    static constexpr char MARK = '\x5A';

    std::size_t mSize;
    std::string mBytes;
};

iov_t partOf(std::string_view bytes) {
    iov_t part{};
    SETIOV(&part, bytes.data(), bytes.size());
    return part;
}

RawDriver::Story answering(std::string const& bytes) {
    return [bytes](RawDriver::End& end) {
        end.takeRequest();
        end.give(bytes);
    };
}

TEST(Messages, ARequestStandsOnTheWireByteForByte) {
    RawDriver driver(answering(wireReply(0)));
    Room room(18);
    EXPECT_EQ(0, MsgSend(driver.fd(), "hello", 5, room.data(), room.size()));
    EXPECT_EQ(hex("01 00 00 00" // a message
                  "00 00 00 00" // no device command
                  "05 00 00 00" // bytes sent
                  "12 00 00 00" // room for the reply
                  "68 65 6c 6c 6f"),
              driver.taken());
}

TEST(Messages, PartsAreJoinedInTheirOrderAndEmptyOnesDoNotShow) {
    RawDriver driver(answering(wireReply(0)));
    iov_t const parts[] = {partOf("ab"), partOf(""), partOf("cde"), iov_t{}, partOf("f")};
    EXPECT_EQ(0, MsgSendvs(driver.fd(), parts, 5, nullptr, 0));
    EXPECT_EQ(le(1) + le(0) + le(6) + le(0) + "abcdef", driver.taken());
}

TEST(Messages, AnEmptyMessageIsAHeaderAlone) {
    RawDriver driver(answering(wireReply(4)));
    EXPECT_EQ(4, MsgSendv(driver.fd(), nullptr, 0, nullptr, 0));
    EXPECT_EQ(le(1) + le(0) + le(0) + le(0), driver.taken());
}

TEST(Messages, AReplyIsScatteredOverThePartsInTheirOrder) {
    RawDriver driver(answering(wireReply(0, 0, pattern(10))));
    Room first(4);
    Room second(0);
    Room third(6);
    iov_t const parts[] = {first.part(), second.part(), third.part()};
    EXPECT_EQ(0, MsgSendsv(driver.fd(), "x", 1, parts, 3));
    EXPECT_EQ(hex("01 02 03 04"), first.taken(4));
    EXPECT_EQ(hex("05 06 07 08 09 0a"), third.taken(6));
    EXPECT_TRUE(first.isUntouchedFrom(4));
    EXPECT_TRUE(second.isUntouchedFrom(0));
    EXPECT_TRUE(third.isUntouchedFrom(6));
    EXPECT_EQ(le(10), driver.taken().substr(12, 4)) << "the room is that of all parts";
}

TEST(Messages, AReplyShorterThanTheRoomLeavesTheRestAsItWas) {
    RawDriver driver(answering(wireReply(0, 0, pattern(6))));
    Room first(4);
    Room second(8);
    Room third(8);
    iov_t const parts[] = {first.part(), second.part(), third.part()};
    EXPECT_EQ(0, MsgSendsv(driver.fd(), "x", 1, parts, 3));
    EXPECT_EQ(hex("01 02 03 04"), first.taken(4));
    EXPECT_EQ(hex("05 06"), second.taken(2));
    EXPECT_TRUE(second.isUntouchedFrom(2));
    EXPECT_TRUE(third.isUntouchedFrom(0));
}

TEST(Messages, PartsBothWaysGoThroughMsgSendv) {
    RawDriver driver(answering(wireReply(7, 0, "ok")));
    Room room(2);
    iov_t const out[] = {partOf("one"), partOf("two")};
    iov_t const in = room.part();
    EXPECT_EQ(7, MsgSendv(driver.fd(), out, 2, &in, 1));
    EXPECT_EQ("ok", room.taken(2));
    EXPECT_EQ(le(1) + le(0) + le(6) + le(2) + "onetwo", driver.taken());
}

TEST(Messages, ThereMayBeMorePartsThanOneSystemCallTakes) {
    constexpr std::size_t COUNT = 3000;
    std::string const sent = pattern(COUNT);
    RawDriver driver(answering(wireReply(0, 0, sent)));
    Room room(COUNT);
    std::vector<iov_t> out(COUNT);
    std::vector<iov_t> in(COUNT);
    for (std::size_t i = 0; i < COUNT; ++i) {
        SETIOV(&out[i], &sent[i], 1);
        SETIOV(&in[i], static_cast<char*>(room.data()) + i, 1);
    }
    ASSERT_EQ(0, MsgSendv(driver.fd(), out.data(), COUNT, in.data(), COUNT));
    EXPECT_EQ(sent, room.taken(COUNT));
    EXPECT_TRUE(room.isUntouchedFrom(COUNT));
    EXPECT_EQ(sent, driver.taken().substr(16));
}

TEST(Messages, MessagesMayBeMuchLargerThanASocketHolds) {
    std::string const sent = pattern(5000000);
    RawDriver driver(answering(wireReply(0, 0, sent)));
    Room room(sent.size());
    ASSERT_EQ(0, MsgSend(driver.fd(), sent.data(), sent.size(), room.data(), room.size()));
    EXPECT_TRUE(sent == room.taken(sent.size()));
    EXPECT_TRUE(sent == driver.taken().substr(16));
}

TEST(Messages, SeveralExchangesFollowEachOtherOnOneConnection) {
    RawDriver driver([](RawDriver::End& end) {
        for (int i = 0; i < 3; ++i) {
            end.takeRequest();
            end.give(wireReply(i, 0, "abc"));
        }
    });
    for (int i = 0; i < 3; ++i) {
        Room room(3);
        EXPECT_EQ(i, MsgSend(driver.fd(), "x", 1, room.data(), room.size()));
        EXPECT_EQ("abc", room.taken(3));
    }
}

class MessageResult : public ::testing::TestWithParam<std::int64_t> {};

TEST_P(MessageResult, ANegativeStatusIsMinusOneAndErrnoAnyOtherIsTheResult) {
    RawDriver driver(answering(wireReply(GetParam())));
    errno = 0;
    int const result = MsgSend(driver.fd(), "x", 1, nullptr, 0);
    EXPECT_EQ(GetParam() < 0 ? -1 : GetParam(), result);
    EXPECT_EQ(GetParam() < 0 ? -GetParam() : 0, errno);
}

INSTANTIATE_TEST_SUITE_P(Messages, MessageResult,
                         ::testing::Values(0, 1, 9, 0x7FFFFFFF, -EPERM, -EIO, -ENOSPC, -ENODEV,
                                           -ETIMEDOUT, -4000));

TEST(Messages, DataLandAlsoWithAFailure) {
    RawDriver driver(answering(wireReply(-ENODEV, 0, "ab")));
    Room room(4);
    EXPECT_EQ(-1, MsgSend(driver.fd(), "x", 1, room.data(), room.size()));
    EXPECT_EQ(ENODEV, errno);
    EXPECT_EQ("ab", room.taken(2));
}

struct HostileReply {
    char const* name;
    std::string bytes;
};

class HostileReplies : public ::testing::TestWithParam<HostileReply> {};

TEST_P(HostileReplies, GiveEIOAndTouchNothingBeyondTheRoom) {
    RawDriver driver(answering(GetParam().bytes));
    Room room(4);
    EXPECT_EQ(-1, MsgSend(driver.fd(), "x", 1, room.data(), room.size()));
    EXPECT_EQ(EIO, errno);
    EXPECT_TRUE(room.isUntouchedFrom(0));
}

INSTANTIATE_TEST_SUITE_P(
    Messages, HostileReplies,
    ::testing::Values(HostileReply{"OneByteTooMany", wireReply(0, 0, "abcde")},
                      HostileReply{"FarTooMany", wireReply(0, 0, std::string(100000, 'x'))},
                      HostileReply{"ALengthOfAllOnes", le(0) + le(0) + le(0xFFFFFFFF) + "abcd"},
                      HostileReply{"ANegativeLength", le(0) + le(0) + le(0x80000004) + "abcd"},
                      HostileReply{"AStatusThatHasNoErrno", le(0x80000000) + le(0) + le(0)}),
    [](auto const& tested) { return std::string(tested.param.name); });

TEST(Messages, AfterABrokenReplyTheConnectionIsOfNoMoreUse) {
    RawDriver driver([](RawDriver::End& end) {
        end.takeRequest();
        end.give(wireReply(0, 0, "too much") + wireReply(0, 0, ""));
        end.takeRequest();
    });
    char reply[4];
    EXPECT_EQ(-1, MsgSend(driver.fd(), "x", 1, reply, sizeof reply));
    EXPECT_EQ(-1, MsgSend(driver.fd(), "y", 1, reply, sizeof reply));
    EXPECT_EQ(EIO, errno) << "the rest of the first reply must not be taken for the second";
    EXPECT_EQ(17U, driver.taken().size()) << "nothing was sent any more";
}

// The driver may go at any point of the exchange; a test that got a signal would die of it.

TEST(VanishedDriver, BeforeTheRequestGivesEIO) {
    int ends[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
    close(ends[1]);
    EXPECT_EQ(-1, MsgSend(ends[0], "x", 1, nullptr, 0));
    EXPECT_EQ(EIO, errno);
    close(ends[0]);
}

TEST(VanishedDriver, InTheMiddleOfTheRequestGivesEIO) {
    RawDriver driver([](RawDriver::End& end) { end.take(1000); });
    std::string const large(5000000, 'x');
    EXPECT_EQ(-1, MsgSend(driver.fd(), large.data(), large.size(), nullptr, 0));
    EXPECT_EQ(EIO, errno);
}

TEST(VanishedDriver, AtEveryByteOfTheReplyGivesEIO) {
    std::string const whole = wireReply(0, 0, "abcd");
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
        RawDriver driver(answering(whole.substr(0, cut)));
        Room room(8);
        errno = 0;
        EXPECT_EQ(-1, MsgSend(driver.fd(), "x", 1, room.data(), room.size())) << "cut " << cut;
        EXPECT_EQ(EIO, errno) << "cut " << cut;
        EXPECT_TRUE(room.isUntouchedFrom(4)) << "cut " << cut;
    }
    RawDriver driver(answering(whole));
    Room room(8);
    EXPECT_EQ(0, MsgSend(driver.fd(), "x", 1, room.data(), room.size()));
}

TEST(VanishedDriver, LeavingTheRequestUnreadGivesEIO) {
    RawDriver driver([](RawDriver::End& end) { end.take(3); });
    EXPECT_EQ(-1, MsgSend(driver.fd(), "hello", 5, nullptr, 0));
    EXPECT_EQ(EIO, errno);
}

using Send = std::function<int(int)>;

struct Form {
    char const* name;
    Send send;
};

std::vector<Form> allForms() {
    static std::string const text = "x";
    static iov_t const part = partOf(text);
    return {{"MsgSend", [](int fd) { return MsgSend(fd, "x", 1, nullptr, 0); }},
            {"MsgSendv", [](int fd) { return MsgSendv(fd, &part, 1, nullptr, 0); }},
            {"MsgSendsv", [](int fd) { return MsgSendsv(fd, "x", 1, nullptr, 0); }},
            {"MsgSendvs", [](int fd) { return MsgSendvs(fd, &part, 1, nullptr, 0); }}};
}

void expectFailure(int fd, int error, std::string const& what) {
    for (Form const& form : allForms()) {
        errno = 0;
        EXPECT_EQ(-1, form.send(fd)) << form.name << " on " << what;
        EXPECT_EQ(error, errno) << form.name << " on " << what;
    }
}

TEST(Messages, ANodeThatIsNoSocketGivesENOSYS) {
    TempDir const folder;
    folder.write("file", "content");
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    int const file = open(folder.path("file").c_str(), O_RDWR);
    int const directory = open(folder.path().c_str(), O_RDONLY | O_DIRECTORY);
    int const device = open("/dev/null", O_RDWR);
    expectFailure(file, ENOSYS, "a file");
    expectFailure(directory, ENOSYS, "a directory");
    expectFailure(device, ENOSYS, "a device");
    expectFailure(ends[0], ENOSYS, "a pipe");
    EXPECT_EQ("content", folder.read("file"));
    for (int const fd : {file, directory, device, ends[0], ends[1]}) {
        EXPECT_EQ(0, close(fd));
    }
}

TEST(Messages, WhatIsNoDescriptorGivesEBADF) {
    expectFailure(-1, EBADF, "-1");
    expectFailure(INT_MAX, EBADF, "a number too large");
}

TEST(Messages, ASocketWithoutAnotherEndGivesEIO) {
    int const fd = socket(AF_UNIX, SOCK_STREAM, 0);
    expectFailure(fd, EIO, "a socket of its own");
    close(fd);
}

TEST(Messages, NullPartsAndOverlongOnesAreRefusedBeforeAnythingIsSent) {
    RawDriver driver([](RawDriver::End& end) { end.take(1); });
    iov_t null{};
    null.iov_len = 1;
    iov_t large[2] = {partOf("a"), partOf("b")};
    large[0].iov_len = INT_MAX;
    iov_t endless = partOf("a");
    endless.iov_len = SIZE_MAX;
    auto const fails = [](int error, int result) {
        EXPECT_EQ(-1, result);
        EXPECT_EQ(error, errno);
    };
    fails(EFAULT, MsgSendv(driver.fd(), &null, 1, nullptr, 0));
    fails(EFAULT, MsgSendv(driver.fd(), nullptr, 0, &null, 1));
    fails(EOVERFLOW, MsgSendv(driver.fd(), large, 2, nullptr, 0));
    fails(EOVERFLOW, MsgSendv(driver.fd(), nullptr, 0, large, 2));
    fails(EOVERFLOW, MsgSendv(driver.fd(), &endless, 1, nullptr, 0));
    fails(EINVAL, MsgSendv(driver.fd(), large, -1, nullptr, 0));
    fails(EINVAL, MsgSendv(driver.fd(), nullptr, 0, large, -1));
    shutdown(driver.fd(), SHUT_RDWR);
    EXPECT_EQ("", driver.taken());
}

std::atomic<int> interruptions{0};

/** Counts the signals that arrive; they interrupt whatever call is waiting. */
class Interruptions {
public:
    Interruptions() {
        interruptions = 0;
        struct sigaction action {};
        action.sa_handler = [](int) { ++interruptions; };
        sigaction(SIGUSR1, &action, &mBefore);
    }
    ~Interruptions() { sigaction(SIGUSR1, &mBefore, nullptr); }
    Interruptions(Interruptions const&) = delete;
    Interruptions& operator=(Interruptions const&) = delete;

private:
    struct sigaction mBefore {};
};

TEST(Messages, ASignalDoesNotInterruptAnExchange) {
    Interruptions const counted;
    pthread_t const client = pthread_self();
    pid_t const clientId = threadId();
    std::string const large = pattern(3000000);
    RawDriver driver([&](RawDriver::End& end) {
        EXPECT_TRUE(waitUntilBlocked(clientId)) << "in the send";
        pthread_kill(client, SIGUSR1);
        end.takeRequest();
        EXPECT_TRUE(waitUntilBlocked(clientId)) << "before the reply";
        pthread_kill(client, SIGUSR1);
        std::string const reply = wireReply(6, 0, large);
        end.give(reply.substr(0, 7));
        EXPECT_TRUE(waitUntilBlocked(clientId)) << "within the header";
        pthread_kill(client, SIGUSR1);
        end.give(reply.substr(7));
    });
    Room room(large.size());
    EXPECT_EQ(6, MsgSend(driver.fd(), large.data(), large.size(), room.data(), room.size()));
    EXPECT_EQ(3, interruptions.load());
    EXPECT_TRUE(large == room.taken(large.size()));
    EXPECT_TRUE(large == driver.taken().substr(16));
}

} // namespace
