#include "OnBus.h"
#include "RawClient.h"
#include "support/BlockedThread.h"

#include <array>
#include <atomic>
#include <fcntl.h>
#include <future>
#include <unistd.h>

using ::testing::HasSubstr;

namespace {

constexpr char DEVICE_STATE[] = "deviceState";

RawMessage deviceState(char const* text, char const* path = PATH) {
    RawMessage signal = RawClient::signal(path, NAME, DEVICE_STATE);
    RawClient::append(signal, text);
    return signal;
}

/** The same, sent to one connection directly, past all match rules. */
RawMessage addressed(RawMessage signal, std::string const& to) {
    dbus_message_set_destination(signal.get(), to.c_str());
    return signal;
}

/** Standard error is a pipe that is full and that nobody reads. */
class FullStandardError {
public:
    FullStandardError() : mBefore(dup(STDERR_FILENO)) {
        EXPECT_EQ(pipe2(mPipe, O_NONBLOCK), 0);
        std::array<char, 4096> const filling{};
        while (write(mPipe[1], filling.data(), filling.size()) > 0) {
        }
        EXPECT_EQ(fcntl(mPipe[1], F_SETFL, 0), 0);
        dup2(mPipe[1], STDERR_FILENO);
    }
    ~FullStandardError() {
        dup2(mBefore, STDERR_FILENO);
        for (int const descriptor : {mBefore, mPipe[0], mPipe[1]}) {
            close(descriptor);
        }
    }
    FullStandardError(FullStandardError const&) = delete;
    FullStandardError& operator=(FullStandardError const&) = delete;

private:
    int mBefore;
    int mPipe[2] = {};
};

} // namespace

class SignalOnBus : public OnBus {
protected:
    /** Waits until the bus has handled all that the client sent, whose thread may be held. */
    void awaitHandled() const {
        RawClient mark(bus.address());
        ASSERT_TRUE(mark.own("com.example.Mark"));
        ASSERT_EQ(TELLBUS_asyncInvoke(client, "com.example.Mark", "/mark", "mark", nullptr, true, 0,
                                      nullptr, nullptr, nullptr),
                  TELLBUS_OK);
        mark.next(DBUS_MESSAGE_TYPE_METHOD_CALL);
    }

    /** The connections of the fixture were the first two on the bus. */
    std::string const clientName = ":1.1";
    Inbox<Signal> signals;
};

TEST_F(SignalOnBus, ArrivesWithNameAndDataByteForByte) {
    void* const service = serve(echo);
    hear(signals, "localStatus");
    EXPECT_EQ(TELLBUS_emit(service, "localStatus", "{\"Current\":1}\n"), TELLBUS_OK);
    EXPECT_EQ(signals.next(), (Signal{"localStatus", "{\"Current\":1}\n"}));
}

TEST_F(SignalOnBus, ArrivesForEachSignalInTheirOrder) {
    void* const service = serve(echo);
    hear(signals, DEVICE_STATE);
    for (int index = 0; index < 1000; ++index) {
        ASSERT_EQ(TELLBUS_emit(service, DEVICE_STATE, std::to_string(index).c_str()), TELLBUS_OK);
    }
    for (int index = 0; index < 1000; ++index) {
        ASSERT_EQ(signals.next().data, std::to_string(index));
    }
}

TEST_F(SignalOnBus, CarriesTheServicesNameAsInterface) {
    void* const service = serve(echo);
    RawClient raw(bus.address());
    raw.match("interface='com.example.one.Echo',member='localStatus'");
    TELLBUS_emit(service, "localStatus", "to all");
    EXPECT_EQ(raw.wait(DBUS_MESSAGE_TYPE_SIGNAL), "to all");
}

TEST_F(SignalOnBus, IsNotHeardForOtherMembersOrPaths) {
    void* const service = serve(echo);
    void* const other = serve(echo, nullptr, NAME, "/com/example/one");
    hear(signals, DEVICE_STATE);
    TELLBUS_emit(service, "otherSignal", "1");
    TELLBUS_emit(other, DEVICE_STATE, "2");
    TELLBUS_emit(service, DEVICE_STATE, "3");
    EXPECT_EQ(signals.next().data, "3");
}

TEST_F(SignalOnBus, ReachesEverySubscriptionOfIt) {
    void* const service = serve(echo);
    Inbox<Signal> others;
    hear(signals, DEVICE_STATE);
    hear(others, DEVICE_STATE);
    TELLBUS_emit(service, DEVICE_STATE, "both");
    EXPECT_EQ(signals.next().data, "both");
    EXPECT_EQ(others.next().data, "both");
    settle(client);
    EXPECT_EQ(signals.arrived(), 1U);
    EXPECT_EQ(others.arrived(), 1U);
}

TEST_F(SignalOnBus, SentRightAfterACallThatFollowsTheSubscriptionIsNotMissed) {
    void* const service = serve(requestInto, &requests);
    for (int round = 0; round < 50; ++round) {
        std::string const member = "signal" + std::to_string(round);
        Inbox<Signal> heard;
        void* const handle = subscribe(heard, member.c_str());
        invoke(results, "any", "{}");
        Request const request = requests.next();
        TELLBUS_emit(service, member.c_str(), "now");
        TELLBUS_returnResult(request.context, "{}");
        TELLBUS_freeReqContext(request.context);
        results.next();
        EXPECT_EQ(heard.arrived(), 1U);
        Inbox<TELLBUS_tStatus> done;
        TELLBUS_asyncUnsubscribe(handle, statusInto, &done);
        done.next();
    }
}

TEST_F(SignalOnBus, FromAProcessThatDoesNotOwnTheSendersNameIsDropped) {
    void* const service = serve(echo);
    RawClient forger(bus.address());
    hear(signals, DEVICE_STATE);
    testing::internal::CaptureStderr();
    forger.send(deviceState("broadcast"));
    forger.send(addressed(deviceState("addressed"), clientName));
    forger.call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetId");
    TELLBUS_emit(service, DEVICE_STATE, "real");
    EXPECT_EQ(signals.next().data, "real");
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("dropped a signal whose sender does not own the name"));
}

TEST_F(SignalOnBus, ForgedHoldsNoSenderUpThoughNobodyReadsTheLine) {
    serve(echo);
    hear(signals, DEVICE_STATE);
    RawClient forger(bus.address());
    std::future<TELLBUS_tStatus> sent;
    {
        FullStandardError const full;
        // The first may be of the same second as another test's.
        while (!isBlockedIn("pipe_write", *libraryThread())) {
            forger.send(addressed(deviceState("addressed"), clientName));
        }
        sent = std::async(std::launch::async, [this] {
            return TELLBUS_asyncInvoke(client, NAME, PATH, "any", "{}", true, 0, nullptr, nullptr,
                                       nullptr);
        });
        EXPECT_EQ(sent.wait_for(PATIENCE), std::future_status::ready);
    }
    EXPECT_EQ(sent.get(), TELLBUS_OK);
}

TEST_F(SignalOnBus, ForgedWhileNobodyOwnsTheNameIsDropped) {
    RawClient forger(bus.address());
    hear(signals, DEVICE_STATE);
    forger.send(addressed(deviceState("addressed"), clientName));
    forger.call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetId");
    settle(client);
    EXPECT_EQ(signals.arrived(), 0U);
}

TEST_F(SignalOnBus, ThatPretendsAnOwnerChangeIsDropped) {
    serve(echo);
    RawClient forger(bus.address());
    hear(signals, DEVICE_STATE);
    RawMessage change = RawClient::signal(DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "NameOwnerChanged");
    for (std::string const& text : {std::string(NAME), std::string(":1.0"), forger.name()}) {
        RawClient::append(change, text.c_str());
    }
    forger.send(addressed(std::move(change), clientName));
    forger.send(addressed(deviceState("forged"), clientName));
    forger.call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetId");
    settle(client);
    EXPECT_EQ(signals.arrived(), 0U);
}

TEST_F(SignalOnBus, IsTakenFromWhoeverOwnsTheNameNow) {
    hear(signals, DEVICE_STATE);
    for (char const* const text : {"from the first", "from the second"}) {
        RawClient owner(bus.address());
        ASSERT_TRUE(owner.own(NAME));
        owner.send(deviceState(text));
        EXPECT_EQ(signals.next().data, text);
        owner.disown(NAME);
    }
}

TEST_F(SignalOnBus, WithOtherArgumentsIsDroppedWithOneLineASecond) {
    RawClient owner(bus.address());
    ASSERT_TRUE(owner.own(NAME));
    hear(signals, DEVICE_STATE);
    testing::internal::CaptureStderr();
    for (int index = 0; index < 20; ++index) {
        RawMessage const bad = RawClient::signal(PATH, NAME, DEVICE_STATE);
        dbus_int32_t const value = 5;
        dbus_message_append_args(bad.get(), DBUS_TYPE_INT32, &value, DBUS_TYPE_INVALID);
        owner.send(bad);
    }
    owner.send(deviceState("good"));
    EXPECT_EQ(signals.next().data, "good");
    std::string const lines = testing::internal::GetCapturedStderr();
    EXPECT_THAT(lines, HasSubstr("libtellbus: dropped a signal whose argument is not one string: "
                                 "/com/example/one/Echo deviceState from "));
    EXPECT_LT(std::count(lines.begin(), lines.end(), '\n'), 20);
}

TEST_F(SignalOnBus, WithoutArgumentHasEmptyData) {
    RawClient owner(bus.address());
    ASSERT_TRUE(owner.own(NAME));
    hear(signals, DEVICE_STATE);
    owner.send(RawClient::signal(PATH, NAME, DEVICE_STATE));
    EXPECT_EQ(signals.next(), (Signal{DEVICE_STATE, ""}));
}

TEST_F(SignalOnBus, IsNotHeardAfterUnsubscribeIsDoneWhichIsToldOnce) {
    void* const service = serve(echo);
    Inbox<TELLBUS_tStatus> done;
    void* const handle = hear(signals, DEVICE_STATE);
    TELLBUS_emit(service, DEVICE_STATE, "before");
    signals.next();
    EXPECT_EQ(TELLBUS_asyncUnsubscribe(handle, statusInto, &done), TELLBUS_OK);
    EXPECT_EQ(done.next(), TELLBUS_OK);
    TELLBUS_emit(service, DEVICE_STATE, "after");
    EXPECT_EQ(TELLBUS_asyncUnsubscribe(handle, statusInto, &done), TELLBUS_E_HANDLE);
    settle(server);
    settle(client);
    EXPECT_EQ(signals.arrived(), 1U);
    EXPECT_EQ(done.arrived(), 1U);
}

TEST_F(SignalOnBus, IsAskedForOnceByAllItsSubscriptionsAndGivenUpWithTheLast) {
    RawClient raw(bus.address());
    std::size_t const before = raw.matchRules();
    Inbox<Signal> heard;
    Inbox<TELLBUS_tStatus> done;
    void* const one = hear(heard, "localStatus");
    void* const other = hear(heard, "localStatus");
    EXPECT_EQ(raw.matchRules("localStatus"), 1U);
    EXPECT_EQ(TELLBUS_asyncUnsubscribe(one, statusInto, &done), TELLBUS_OK);
    settle(client);
    EXPECT_EQ(raw.matchRules("localStatus"), 1U);
    EXPECT_EQ(TELLBUS_asyncUnsubscribe(other, statusInto, &done), TELLBUS_OK);
    settle(client);
    EXPECT_EQ(raw.matchRules(), before);
}

TEST_F(SignalOnBus, StillReachesOneSubscriptionWhenAnotherEnds) {
    void* const service = serve(echo);
    Inbox<Signal> others;
    Inbox<TELLBUS_tStatus> done;
    void* const handle = hear(signals, DEVICE_STATE);
    hear(others, DEVICE_STATE);
    TELLBUS_asyncUnsubscribe(handle, statusInto, &done);
    done.next();
    TELLBUS_emit(service, DEVICE_STATE, "to the other");
    EXPECT_EQ(others.next().data, "to the other");
    EXPECT_EQ(signals.arrived(), 0U);
}

TEST_F(SignalOnBus, IsHeardAgainAfterSubscribingAgain) {
    void* const service = serve(echo);
    for (int round = 0; round < 20; ++round) {
        Inbox<Signal> heard;
        Inbox<TELLBUS_tStatus> done;
        void* const handle = hear(heard, DEVICE_STATE);
        TELLBUS_emit(service, DEVICE_STATE, "again");
        EXPECT_EQ(heard.next().data, "again");
        TELLBUS_asyncUnsubscribe(handle, statusInto, &done);
        done.next();
    }
}

TEST_F(SignalOnBus, MayEndItsSubscriptionFromItsCallback) {
    struct Self {
        void* handle = nullptr;
        std::atomic<int> signals{0};
        Inbox<TELLBUS_tStatus> done;
    } self;
    auto const once = [](char const*, char const*, void* cookie) {
        auto& me = *static_cast<Self*>(cookie);
        ++me.signals;
        TELLBUS_asyncUnsubscribe(me.handle, statusInto, &me.done);
    };
    void* const service = serve(echo);
    ASSERT_EQ(TELLBUS_subscribe(client, PATH, DEVICE_STATE, once, &self, &self.handle), TELLBUS_OK);
    settle(client);
    for (int index = 0; index < 100; ++index) {
        TELLBUS_emit(service, DEVICE_STATE, "{}");
    }
    EXPECT_EQ(self.done.next(), TELLBUS_OK);
    settle(server);
    settle(client);
    EXPECT_EQ(self.signals, 1);
    EXPECT_EQ(self.done.arrived(), 1U);
}

TEST_F(SignalOnBus, OfTheBusItselfIsDroppedForItsThreeArguments) {
    hear(signals, "NameOwnerChanged", "/org/freedesktop/DBus");
    serve(echo);
    settle(client);
    EXPECT_EQ(signals.arrived(), 0U);
}

TEST_F(SignalOnBus, IsTakenFromTheOwnerOnlyThoughAnOlderChangeIsReadLate) {
    void* const first = hear(signals, DEVICE_STATE);
    RawClient former(bus.address());
    RawClient owner(bus.address());
    {
        HeldThread const held(client);
        ASSERT_TRUE(former.own(NAME));
        ASSERT_EQ(TELLBUS_asyncUnsubscribe(first, nullptr, nullptr), TELLBUS_OK);
        // Without a match rule now: what follows is not told.
        awaitHandled();
        former.disown(NAME);
        ASSERT_TRUE(owner.own(NAME));
        subscribe(signals, DEVICE_STATE);
    }
    settle(client);
    former.send(addressed(deviceState("forged"), clientName));
    former.call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetId");
    owner.send(deviceState("real"));
    EXPECT_EQ(signals.next().data, "real");
}
