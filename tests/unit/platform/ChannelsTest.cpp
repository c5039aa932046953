#include "platform/neutrino.h"
#include "platform/posix/ChannelLimits.h"
#include "support/SleepingReceiver.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <future>
#include <gmock/gmock.h>
#include <sched.h>
#include <thread>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

class Channels : public ::testing::Test {
protected:
    bool send(int code, std::intptr_t value = 0, int priority = lowest()) {
        return MsgSendPulse(mConnection, priority, code, value) == 0;
    }

    _pulse receive() {
        _pulse pulse{};
        EXPECT_EQ(0, MsgReceivePulse(mChannel, &pulse, sizeof pulse, nullptr));
        return pulse;
    }

    std::intptr_t receiveValue() {
        return reinterpret_cast<std::intptr_t>(receive().value.sival_ptr);
    }

    std::vector<int> receiveCodes(int count) {
        std::vector<int> codes(static_cast<std::size_t>(count));
        std::generate(codes.begin(), codes.end(), [this] { return receive().code; });
        return codes;
    }

    static int lowest() { return sched_get_priority_min(SCHED_RR); }

    int mChannel = ChannelCreate(_NTO_CHF_FIXED_PRIORITY);
    int mConnection = ConnectAttach(0, 0, mChannel, _NTO_SIDE_CHANNEL, 0);
};

TEST_F(Channels, ConnectionIdsAreInTheSideChannelRange) {
    EXPECT_GE(mConnection, 0x40000000);
}

TEST_F(Channels, APulseCarriesItsCodeAndAPointer) {
    int target = 0;
    ASSERT_TRUE(send(3, reinterpret_cast<std::intptr_t>(&target)));

    _pulse const pulse = receive();
    EXPECT_EQ(3, pulse.code);
    EXPECT_EQ(&target, pulse.value.sival_ptr);
    EXPECT_EQ(_PULSE_TYPE, pulse.type);
    EXPECT_EQ(_PULSE_SUBTYPE, pulse.subtype);
    EXPECT_EQ(mConnection, pulse.scoid);
}

TEST_F(Channels, APulseCarriesASmallNumberAsWell) {
    ASSERT_TRUE(send(3, 77));
    EXPECT_EQ(77, receive().value.sival_int);
}

TEST_F(Channels, CodesGoThroughAllSignedBytes) {
    for (int const code : {-128, -1, 0, 1, 127}) {
        ASSERT_TRUE(send(code));
        EXPECT_EQ(code, receive().code);
    }
}

TEST_F(Channels, PulsesOfOnePriorityKeepTheirOrder) {
    for (int code = 1; code <= 100; ++code) {
        ASSERT_TRUE(send(code));
    }
    std::vector<int> const codes = receiveCodes(100);
    EXPECT_EQ(100, codes.back());
    EXPECT_TRUE(std::is_sorted(codes.begin(), codes.end()));
}

TEST_F(Channels, HigherPrioritiesComeFirstAndKeepTheirOrder) {
    ASSERT_TRUE(send(1, 0, lowest()));
    ASSERT_TRUE(send(2, 0, lowest() + 5));
    ASSERT_TRUE(send(3, 0, lowest()));
    ASSERT_TRUE(send(4, 0, lowest() + 9));
    ASSERT_TRUE(send(5, 0, lowest() + 5));
    EXPECT_THAT(receiveCodes(5), ElementsAre(4, 2, 5, 1, 3));
}

TEST_F(Channels, PriorityMinusOneIsTheLowest) {
    ASSERT_TRUE(send(1, 0, -1));
    ASSERT_TRUE(send(2, 0, lowest() + 1));
    ASSERT_TRUE(send(3, 0, lowest()));
    EXPECT_THAT(receiveCodes(3), ElementsAre(2, 1, 3));
}

TEST_F(Channels, ConnectionsOfOneChannelShareItsQueue) {
    int const second = ConnectAttach(0, getpid(), mChannel, _NTO_SIDE_CHANNEL, 0);
    EXPECT_NE(mConnection, second);
    ASSERT_TRUE(send(1));
    ASSERT_EQ(0, MsgSendPulse(second, lowest(), 2, 0));
    EXPECT_EQ(1, receive().code);
    EXPECT_EQ(second, receive().scoid);
}

TEST_F(Channels, ChannelsDoNotShareTheirPulses) {
    int const other = ChannelCreate(0);
    int const connection = ConnectAttach(0, 0, other, _NTO_SIDE_CHANNEL, 0);
    ASSERT_EQ(0, MsgSendPulse(connection, lowest(), 9, 0));
    ASSERT_TRUE(send(1));
    EXPECT_EQ(1, receive().code);
    _pulse pulse{};
    ASSERT_EQ(0, MsgReceivePulse(other, &pulse, sizeof pulse, nullptr));
    EXPECT_EQ(9, pulse.code);
}

TEST_F(Channels, AConnectionIdIsNotBelowTheIndexAskedFor) {
    EXPECT_EQ(0x40000F00, ConnectAttach(0, 0, mChannel, 0x40000F00, 0));
    EXPECT_EQ(0x40000F01, ConnectAttach(0, 0, mChannel, 0x40000F00, 0));
    EXPECT_GE(ConnectAttach(0, 0, mChannel, 0, 0), 0x40000000) << "above a descriptor's range too";
}

TEST_F(Channels, AFullChannelRefusesWithEAGAINAndLosesNothing) {
    for (std::size_t i = 0; i < MAX_QUEUED_PULSES; ++i) {
        ASSERT_TRUE(send(1, static_cast<std::intptr_t>(i)));
    }
    errno = 0;
    EXPECT_FALSE(send(1, -1));
    EXPECT_EQ(EAGAIN, errno);

    EXPECT_EQ(0, receiveValue());
    EXPECT_TRUE(send(1, 12345)) << "there is room again";
    for (std::size_t i = 1; i < MAX_QUEUED_PULSES; ++i) {
        ASSERT_EQ(static_cast<std::intptr_t>(i), receiveValue());
    }
    EXPECT_EQ(12345, receiveValue());
}

TEST_F(Channels, AReceiverThatWaitsIsWokenByAPulse) {
    SleepingReceiver receiver(mChannel, mConnection);
    ASSERT_TRUE(send(5));
    EXPECT_EQ(5, receiver.pulse().code);
}

TEST_F(Channels, ASignalDoesNotEndTheWait) {
    static std::atomic<bool> interrupted;
    interrupted = false;
    struct sigaction noting {};
    noting.sa_handler = [](int) { interrupted = true; };
    struct sigaction before {};
    ASSERT_EQ(0, sigaction(SIGUSR1, &noting, &before));

    std::promise<pid_t> started;
    std::promise<int> code;
    std::thread receiver([&] {
        started.set_value(threadId());
        code.set_value(receive().code);
    });
    pid_t const thread = started.get_future().get();
    EXPECT_TRUE(waitUntilBlocked(thread));
    EXPECT_EQ(0, pthread_kill(receiver.native_handle(), SIGUSR1));
    while (!interrupted) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(waitUntilBlocked(thread));
    EXPECT_TRUE(send(5));
    EXPECT_EQ(5, code.get_future().get());
    receiver.join();
    EXPECT_EQ(0, sigaction(SIGUSR1, &before, nullptr));
}

TEST_F(Channels, ManySendersKeepTheirOwnOrder) {
    constexpr int SENDERS = 4;
    constexpr int PULSES = 5000;
    std::vector<std::thread> senders;
    senders.reserve(SENDERS);
    for (int sender = 0; sender < SENDERS; ++sender) {
        senders.emplace_back([this, sender] {
            for (int i = 0; i < PULSES; ++i) {
                ASSERT_TRUE(send(sender, i));
            }
        });
    }
    std::vector<std::intptr_t> next(SENDERS, 0);
    for (int i = 0; i < SENDERS * PULSES; ++i) {
        _pulse const pulse = receive();
        auto const sender = static_cast<std::uint8_t>(pulse.code);
        ASSERT_EQ(next[sender]++, reinterpret_cast<std::intptr_t>(pulse.value.sival_ptr));
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    EXPECT_THAT(next, ElementsAreArray(std::vector<std::intptr_t>(SENDERS, PULSES)));
}

TEST_F(Channels, EachPulseGoesToOneOfSeveralReceivers) {
    constexpr std::size_t RECEIVERS = 3;
    constexpr std::intptr_t PULSES = 3000;
    std::vector<std::future<std::vector<std::intptr_t>>> receivers;
    for (std::size_t i = 0; i < RECEIVERS; ++i) {
        receivers.push_back(std::async(std::launch::async, [this] {
            std::vector<std::intptr_t> values;
            while (values.empty() || values.back() != -1) {
                values.push_back(receiveValue());
            }
            values.pop_back();
            return values;
        }));
    }
    std::vector<std::intptr_t> sent;
    for (std::intptr_t i = 0; i < PULSES; ++i) {
        sent.push_back(i);
        ASSERT_TRUE(send(1, i));
    }
    for (std::size_t i = 0; i < RECEIVERS; ++i) {
        ASSERT_TRUE(send(1, -1));
    }
    std::vector<std::intptr_t> received;
    for (auto& receiver : receivers) {
        std::vector<std::intptr_t> const values = receiver.get();
        received.insert(received.end(), values.begin(), values.end());
    }
    std::sort(received.begin(), received.end());
    EXPECT_EQ(sent, received);
}

TEST_F(Channels, ChannelCreateRefusesFlagsThatItCannotHonour) {
    EXPECT_EQ(-1, ChannelCreate(0x0002));
    EXPECT_EQ(EINVAL, errno);
}

struct BadAttach {
    char const* name;
    std::uint32_t node;
    pid_t process;
    int channelOffset;
    unsigned int index;
    int error;
};

TEST_F(Channels, ConnectAttachRefusesWhatItCannotReach) {
    BadAttach const cases[] = {
        {"another node", 1, 0, 0, 0x40000000, ESRCH},
        {"another process", 0, 1, 0, 0x40000000, ESRCH},
        {"no such channel", 0, 0, 1000000, 0x40000000, ESRCH},
        {"a negative channel", 0, 0, INT_MIN, 0x40000000, ESRCH},
        {"an index out of range", 0, 0, 0, 0x40000000 + MAX_CONNECTIONS, EINVAL},
        {"an index that is negative", 0, 0, 0, 0xFFFFFFFF, EINVAL},
    };
    for (BadAttach const& bad : cases) {
        errno = 0;
        EXPECT_EQ(-1,
                  ConnectAttach(bad.node, bad.process, mChannel + bad.channelOffset, bad.index, 0))
            << bad.name;
        EXPECT_EQ(bad.error, errno) << bad.name;
    }
}

struct BadSend {
    char const* name;
    int connectionOffset;
    int priority;
    int code;
    int error;
};

TEST_F(Channels, MsgSendPulseRefusesWhatIsOutOfRange) {
    int const highest = sched_get_priority_max(SCHED_RR);
    BadSend const cases[] = {
        {"no such connection", 100000, 1, 1, EBADF},
        {"a descriptor", -mConnection, 1, 1, EBADF},
        {"a negative connection", -mConnection - 1, 1, 1, EBADF},
        {"a priority too low", 0, 0, 1, EINVAL},
        {"a priority too high", 0, highest + 1, 1, EINVAL},
        {"a code too low", 0, 1, -129, EINVAL},
        {"a code too high", 0, 1, 128, EINVAL},
    };
    for (BadSend const& bad : cases) {
        errno = 0;
        EXPECT_EQ(-1, MsgSendPulse(mConnection + bad.connectionOffset, bad.priority, bad.code, 0))
            << bad.name;
        EXPECT_EQ(bad.error, errno) << bad.name;
    }
    ASSERT_TRUE(send(42));
    EXPECT_EQ(42, receive().code) << "none of the refused ones was queued";
}

TEST_F(Channels, MsgReceivePulseRefusesAndLeavesThePulse) {
    ASSERT_TRUE(send(42));
    _pulse pulse{};
    EXPECT_EQ(-1, MsgReceivePulse(-1, &pulse, sizeof pulse, nullptr));
    EXPECT_EQ(ESRCH, errno);
    EXPECT_EQ(-1, MsgReceivePulse(mChannel + 1000000, &pulse, sizeof pulse, nullptr));
    EXPECT_EQ(ESRCH, errno);
    EXPECT_EQ(-1, MsgReceivePulse(mChannel, nullptr, sizeof pulse, nullptr));
    EXPECT_EQ(EFAULT, errno);
    EXPECT_EQ(-1, MsgReceivePulse(mChannel, &pulse, sizeof pulse - 1, nullptr));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(42, receive().code);
}

TEST(Channel, APulseIsAsLargeAsTheMachineSays) {
    EXPECT_EQ(sizeof(void*) == 4 ? 16U : 24U, sizeof(_pulse));
}

/** In a process of its own, which it leaves without room. Exits with 0 if all is as it should be.
 */
void useUpChannels() {
    for (std::size_t i = 0; i < MAX_CHANNELS; ++i) {
        if (ChannelCreate(0) == -1) {
            std::_Exit(1);
        }
    }
    std::_Exit(ChannelCreate(0) == -1 && errno == EAGAIN ? 0 : 2);
}

void useUpConnections() {
    int const channel = ChannelCreate(0);
    for (std::size_t i = 0; i < MAX_CONNECTIONS; ++i) {
        if (ConnectAttach(0, 0, channel, _NTO_SIDE_CHANNEL, 0) == -1) {
            std::_Exit(1);
        }
    }
    bool const refused = ConnectAttach(0, 0, channel, _NTO_SIDE_CHANNEL, 0) == -1;
    std::_Exit(refused && errno == EAGAIN ? 0 : 2);
}

// Each runs in a fresh process, so that no channel of another test counts.
class ChannelLimitsDeathTest : public ::testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(ChannelLimitsDeathTest, OneChannelTooManyIsRefusedWithEAGAIN) {
    EXPECT_EXIT(useUpChannels(), ::testing::ExitedWithCode(0), "");
}

TEST_F(ChannelLimitsDeathTest, OneConnectionTooManyIsRefusedWithEAGAIN) {
    EXPECT_EXIT(useUpConnections(), ::testing::ExitedWithCode(0), "");
}

} // namespace
