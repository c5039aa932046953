#include "bus/CTellbusEventServerBase.h"

#include "BusTest.h"
#include "NewText.h"
#include "bus/CTellbusRequest.h"

#include <stdexcept>
#include <vector>

using channelHooks::Call;
using channelHooks::Failing;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

constexpr unsigned int FLAGS = 1;

/** Notes what it is given, then does what the test wants. */
class Server : public CTellbusEventServerBase {
public:
    Server() : CTellbusEventServerBase(FLAGS) {}

    void processTellbusRequest(CTellbusRequest* request, void* context) override {
        note("request " + request->method, request, context);
        if (onRequest) {
            onRequest(*request);
        }
    }
    void processTellbusResult(CTellbusResult* result, void* context) override {
        note(std::string("result ") + (result == nullptr ? "null" : result->text), result, context);
    }
    void processTellbusSignal(CTellbusSignal const* signal, void* context) override {
        note(std::string("signal ") + (signal == nullptr ? "null" : signal->data), signal, context);
    }
    void processTellbusStatus(unsigned int status, void* context) override {
        note("status " + std::to_string(status), nullptr, context);
    }
    void processTellbusNameChange(CTellbusNameChange const* change, void* context) override {
        note(std::string("name ") + (change == nullptr ? "null" : change->name), change, context);
    }
    void processAccessoryEvent(void* cookie) override { note("accessory", nullptr, cookie); }

    std::vector<std::string> handled;
    std::vector<void*> contexts;
    std::function<void(CTellbusRequest&)> onRequest;
    std::function<void()> inHandler;
    /** Must not be freed while a handler runs. */
    FreeWatch const* watched = nullptr;

private:
    void note(std::string const& what, void const*, void* context) {
        handled.push_back(what);
        contexts.push_back(context);
        if (watched != nullptr) {
            EXPECT_FALSE(watched->freed());
        }
        if (inHandler) {
            inHandler();
        }
    }
};

class CTellbusEventServerBaseTest : public testing::Test {
protected:
    void post(int code, void const* value) const { mChannel.post(code, value); }
    template <class Record>
    void postEvent(int code, Record* record) {
        post(code, new CTellbusEvent(record, &mContext));
    }
    CTellbusRequest* newRequest(int noReply) {
        return new CTellbusRequest(&mRequestContext, "checkTag", "{}", noReply, nullptr);
    }
    void runQueued() { mChannel.runQueued(mServer); }

    FakeTellbus bus;
    Server mServer;
    NewestChannel mChannel;
    int mContext = 0;
    int mRequestContext = 0;
};

using CTellbusEventServerBaseDeathTest = CTellbusEventServerBaseTest;

/** Handlers as they are without a derived class. */
struct Plain : CTellbusEventServerBase {
    Plain() : CTellbusEventServerBase(FLAGS) {}
};

} // namespace

// Setting up

TEST_F(CTellbusEventServerBaseTest, ConstructionOpensTheChannelAndTheBus) {
    EXPECT_EQ(FLAGS, channelHooks::newestChannelFlags());
    EXPECT_THAT(bus.calls, ElementsAre("initialize", "getConnection 0 0"));
    EXPECT_NE(nullptr, mServer.busConnection());
    EXPECT_FALSE(mServer.isRunning());
}

TEST(CTellbusEventServerBaseConstruction, AttachesToItsOwnChannelOutsideTheRangeOfDescriptors) {
    FakeTellbus bus;
    Plain const server;
    channelHooks::Attach const attach = channelHooks::newestAttach();
    EXPECT_EQ(0U, attach.nd);
    EXPECT_EQ(0, attach.pid);
    EXPECT_EQ(channelHooks::newestChannel(), attach.chid);
    EXPECT_EQ(0x40000000U, attach.index);
    EXPECT_EQ(0, attach.flags);
}

TEST_F(CTellbusEventServerBaseTest, ASetUpStepThatFailsSaysSoAndReturnsFalse) {
    EXPECT_TRUE(mServer.initChannelCOM(FLAGS));
    EXPECT_TRUE(mServer.initTellbus());
    bool worked = true;
    std::string const printed = stdoutOf([&] {
        Failing const failing(Call::ConnectAttach);
        worked = mServer.initChannelCOM(FLAGS);
    });
    EXPECT_EQ("Could not attach connectionHandle: -1 to serverChannel: "
                  + std::to_string(channelHooks::newestChannel()) + "\n",
              printed);
    EXPECT_FALSE(worked);
    bus.answer("initialize", FakeTellbus::FAILURE);
    EXPECT_EQ("CTellbusEventServerBase: TELLBUS_initialize error 0x80000007\n",
              stdoutOf([&] { worked = mServer.initTellbus(); }));
    EXPECT_FALSE(worked);
}

TEST(CTellbusEventServerBaseDeath, ChannelCreateFailing) {
    FakeTellbus bus;
    expectEndOfProcess(
        [] {
            Failing const failing(Call::ChannelCreate);
            Plain const server;
        },
        "CTellbusEventServerBase::initChannelCOM() - ChannelCreate failed\n");
}

TEST(CTellbusEventServerBaseDeath, ConnectAttachFailing) {
    FakeTellbus bus;
    expectEndOfProcess(
        [] {
            Failing const failing(Call::ConnectAttach);
            Plain const server;
        },
        MatchesRegex("Could not attach connectionHandle: -1 to serverChannel: [0-9]+\n"));
}

TEST(CTellbusEventServerBaseDeath, InitializeFailing) {
    FakeTellbus bus;
    bus.answer("initialize", 0x8000000AU);
    expectEndOfProcess([] { Plain const server; },
                       "CTellbusEventServerBase: TELLBUS_initialize error 0x8000000A\n");
}

TEST(CTellbusEventServerBaseDeath, GetConnectionFailing) {
    FakeTellbus bus;
    bus.answer("getConnection", 0xC000000BU);
    expectEndOfProcess([] { Plain const server; },
                       "CTellbusEventServerBase: TELLBUS_getConnection error 0xC000000B\n");
}

TEST(CTellbusEventServerBaseConstruction, AStatusWithoutBit31IsNoFailure) {
    FakeTellbus bus;
    bus.answer("initialize", 0x40000001U);
    bus.answer("getConnection", 0x7FFFFFFFU);
    Plain const server;
    EXPECT_NE(nullptr, server.busConnection());
}

// The loop

TEST_F(CTellbusEventServerBaseTest, EachCodeGoesToItsHandlerWithTheContextInTheOrderOfTheChannel) {
    postEvent(1, newRequest(0));
    postEvent(2, new CTellbusResult(newText("[2]"), 0));
    postEvent(3, new CTellbusSignal(newText("s"), newText("[3]")));
    postEvent(4, new unsigned int(0x80000004U));
    postEvent(5, new CTellbusNameChange(newText("a.b"), newText(""), newText("")));
    post(6, &mContext);
    runQueued();
    EXPECT_THAT(mServer.handled, ElementsAre("request checkTag", "result [2]", "signal [3]",
                                             "status 2147483652", "name a.b", "accessory"));
    EXPECT_THAT(mServer.contexts, testing::Each(&mContext));
}

TEST_F(CTellbusEventServerBaseTest, RecordAndEventAreFreedBehindTheHandler) {
    auto* const signal = new CTellbusSignal(newText("s"), newText("[3]"));
    auto* const event = new CTellbusEvent(signal, &mContext);
    FreeWatch const signalWatch(signal);
    FreeWatch const eventWatch(event);
    mServer.watched = &signalWatch;
    post(3, event);
    runQueued();
    EXPECT_TRUE(signalWatch.freed());
    EXPECT_TRUE(eventWatch.freed());
}

TEST_F(CTellbusEventServerBaseTest, EveryKindOfRecordIsFreed) {
    auto* const request = newRequest(0);
    auto* const result = new CTellbusResult(newText(""), 0);
    auto* const status = new unsigned int(0);
    auto* const change = new CTellbusNameChange(newText("a.b"), newText(""), newText(""));
    FreeWatch const watches[]{FreeWatch(request), FreeWatch(result), FreeWatch(status),
                              FreeWatch(change)};
    postEvent(1, request);
    postEvent(2, result);
    postEvent(4, status);
    postEvent(5, change);
    runQueued();
    for (FreeWatch const& watch : watches) {
        EXPECT_TRUE(watch.freed());
    }
}

TEST_F(CTellbusEventServerBaseTest, ANullRecordIsHandledAndTheLoopGoesOn) {
    postEvent<CTellbusResult>(2, nullptr);
    postEvent<CTellbusSignal>(3, nullptr);
    postEvent<CTellbusNameChange>(5, nullptr);
    runQueued();
    EXPECT_THAT(mServer.handled, ElementsAre("result null", "signal null", "name null"));
}

TEST_F(CTellbusEventServerBaseTest, AnAccessoryPulseWithValueZeroGoesToItsHandlerWithNull) {
    post(6, nullptr);
    runQueued();
    EXPECT_THAT(mServer.handled, ElementsAre("accessory"));
    EXPECT_THAT(mServer.contexts, ElementsAre(nullptr));
}

TEST_F(CTellbusEventServerBaseTest, APostedAccessoryEventGoesToItsHandler) {
    int registration = 0;
    EXPECT_TRUE(mServer.postAccessoryEvent(&registration));
    EXPECT_EQ(sched_get_priority_min(SCHED_RR), channelHooks::newestPriority());
    runQueued();
    EXPECT_THAT(mServer.handled, ElementsAre("accessory"));
    EXPECT_THAT(mServer.contexts, ElementsAre(&registration));
}

TEST_F(CTellbusEventServerBaseTest, AnAccessoryEventThatCannotBePostedSaysSo) {
    EXPECT_EQ("CTellbusEventServerBase: MsgSendPulse error!\n", stdoutOf([&] {
                  Failing const failing(Call::MsgSendPulse);
                  EXPECT_FALSE(mServer.postAccessoryEvent(nullptr));
              }));
}

TEST_F(CTellbusEventServerBaseTest, AnAccessoryPulseFreesNothing) {
    auto const value = std::make_unique<CTellbusRouterCookie>();
    FreeWatch const watch(value.get());
    post(6, value.get());
    runQueued();
    EXPECT_FALSE(watch.freed());
}

TEST_F(CTellbusEventServerBaseTest, AStopPulseWithValueZeroEndsTheLoopWithoutAMessage) {
    post(7, nullptr);
    EXPECT_EQ("", stdoutOf([&] { mServer.start(); }));
    EXPECT_FALSE(mServer.isRunning());
    EXPECT_THAT(mServer.handled, IsEmpty());
}

TEST_F(CTellbusEventServerBaseTest, WhatStandsBehindTheStopWaitsForTheNextStart) {
    post(7, nullptr);
    postEvent(4, new unsigned int(1));
    mServer.start();
    EXPECT_THAT(mServer.handled, IsEmpty());
    runQueued();
    EXPECT_THAT(mServer.handled, ElementsAre("status 1"));
}

TEST_F(CTellbusEventServerBaseTest, RunningIsTrueInsideAHandler) {
    bool running = false;
    mServer.inHandler = [&] { running = mServer.isRunning(); };
    post(6, nullptr);
    runQueued();
    EXPECT_TRUE(running);
}

TEST_F(CTellbusEventServerBaseTest, AThrowingHandlerLeavesStartWithEverythingOfItsEventFreed) {
    auto* const request = newRequest(1);
    auto* const event = new CTellbusEvent(request, &mContext);
    FreeWatch const requestWatch(request);
    FreeWatch const eventWatch(event);
    mServer.inHandler = [] { throw std::runtime_error("handler"); };
    post(1, event);
    EXPECT_THROW(mServer.start(), std::runtime_error);
    EXPECT_TRUE(requestWatch.freed());
    EXPECT_TRUE(eventWatch.freed());
    EXPECT_THAT(bus.operations(), testing::Contains("freeReqContext"));
    EXPECT_TRUE(mServer.isRunning());
}

TEST_F(CTellbusEventServerBaseTest, ARequestThatWantsNoReplyHasItsContextFreedBehindTheHandler) {
    bool freedBefore = true;
    mServer.onRequest = [&](CTellbusRequest& request) { freedBefore = request.context == nullptr; };
    postEvent(1, newRequest(1));
    bus.calls.clear();
    runQueued();
    EXPECT_FALSE(freedBefore);
    EXPECT_THAT(bus.calls, ElementsAre("freeReqContext " + shown(&mRequestContext)));
}

TEST_F(CTellbusEventServerBaseTest, AContextThatTheHandlerFreedIsNotFreedTwice) {
    mServer.onRequest = [](CTellbusRequest& request) { request.freeRequestContext(); };
    postEvent(1, newRequest(1));
    bus.calls.clear();
    runQueued();
    EXPECT_THAT(bus.calls, ElementsAre("freeReqContext " + shown(&mRequestContext)));
}

TEST_F(CTellbusEventServerBaseTest, ARequestThatWantsAReplyKeepsItsContextWithTheLibrary) {
    postEvent(1, newRequest(0));
    bus.calls.clear();
    runQueued();
    EXPECT_THAT(bus.calls, IsEmpty());
}

TEST_F(CTellbusEventServerBaseDeathTest, MsgReceivePulseFailing) {
    expectEndOfProcess(
        [&] {
            Failing const failing(Call::MsgReceivePulse);
            mServer.start();
        },
        "CTellbusEventServerBase: MsgReceivePulse error!\n");
}

namespace {

class EndingPulse : public CTellbusEventServerBaseTest, public testing::WithParamInterface<int> {};
class NullEvent : public EndingPulse {};
class UnknownCode : public EndingPulse {};

} // namespace

TEST_P(NullEvent, EndsTheProcessWhateverTheCode) {
    expectEndOfProcess(
        [&] {
            post(GetParam(), nullptr);
            mServer.start();
        },
        "CTellbusEventServerBase: pEvent is NULL!\n");
}

TEST_P(UnknownCode, WithAValueEndsTheProcess) {
    expectEndOfProcess(
        [&] {
            postEvent<void>(GetParam(), nullptr);
            mServer.start();
        },
        "CTellbusEventServerBase: invalid or unknown event code.\n");
}

INSTANTIATE_TEST_SUITE_P(CTellbusEventServerBaseDeathTest, NullEvent,
                         testing::Values(-128, -1, 0, 1, 2, 3, 4, 5, 8, 127));
INSTANTIATE_TEST_SUITE_P(CTellbusEventServerBaseDeathTest, UnknownCode,
                         testing::Values(-128, -1, 0, 8, 127));

// Stopping

TEST_F(CTellbusEventServerBaseTest, StopDisablesTheBusAndEndsTheLoopBehindTheQueuedEvents) {
    postEvent(4, new unsigned int(1));
    bus.calls.clear();
    mServer.stop();
    EXPECT_THAT(bus.operations(), ElementsAre("closeConnection", "shutdown"));
    EXPECT_EQ(sched_get_priority_min(SCHED_RR), channelHooks::newestPriority());
    mServer.start();
    EXPECT_THAT(mServer.handled, ElementsAre("status 1"));
}

TEST_F(CTellbusEventServerBaseTest, AStopThatCannotBeSentSaysSo) {
    EXPECT_EQ("CTellbusEventServerBase: MsgSendPulse error!\n", stdoutOf([&] {
                  Failing const failing(Call::MsgSendPulse);
                  mServer.stop();
              }));
    EXPECT_EQ(nullptr, mServer.busConnection());
}

TEST_F(CTellbusEventServerBaseTest, DisablingUnregistersInOrderThenClosesThenShutsDown) {
    void* const first = mServer.registerWithTellbus("a.b", "/a/b", &mContext);
    void* const second = mServer.registerWithTellbus("a.c", "/a/c", &mContext);
    std::string const connection = shown(mServer.busConnection());
    bus.calls.clear();
    mServer.disableTellbus();
    EXPECT_THAT(bus.calls, ElementsAre("unregisterService " + shown(first),
                                       "unregisterService " + shown(second),
                                       "closeConnection " + connection, "shutdown"));
    EXPECT_EQ(nullptr, mServer.busConnection());
}

TEST_F(CTellbusEventServerBaseTest, CookiesLiveUntilTheLibraryIsShutDown) {
    mServer.registerWithTellbus("a.b", "/a/b", &mContext);
    FreeWatch const cookie(bus.services.at(0).cookie);
    bool freedDuringShutdown = true;
    bus.duringShutdown = [&] { freedDuringShutdown = cookie.freed(); };
    mServer.disableTellbus();
    EXPECT_FALSE(freedDuringShutdown);
    EXPECT_TRUE(cookie.freed());
}

TEST_F(CTellbusEventServerBaseTest, DisablingWithoutAConnectionDoesNothing) {
    mServer.disableTellbus();
    bus.calls.clear();
    mServer.disableTellbus();
    EXPECT_THAT(bus.calls, IsEmpty());
}

TEST_F(CTellbusEventServerBaseTest, ARegistrationThatDoesNotEndIsReportedAndTheNextOneIsTried) {
    void* const first = mServer.registerWithTellbus("a.b", "/a/b", &mContext);
    void* const second = mServer.registerWithTellbus("a.c", "/a/c", &mContext);
    bus.answer("unregisterService", 0x80000007U);
    auto const line = [](void* handle) {
        return "CTellbusEventServerBase: TELLBUS_unregisterService error: 7, registration handle: "
               + shown(handle) + "\n";
    };
    EXPECT_EQ(line(first) + line(second), stdoutOf([&] { mServer.disableTellbus(); }));
    EXPECT_EQ(nullptr, mServer.busConnection());
}

TEST_F(CTellbusEventServerBaseTest, AfterAFailedCloseDisablingRunsAgainAndUnregistersNothing) {
    mServer.registerWithTellbus("a.b", "/a/b", &mContext);
    FreeWatch const cookie(bus.services.at(0).cookie);
    bus.answer("closeConnection", 0x80000009U);
    bus.calls.clear();
    EXPECT_EQ("CTellbusEventServerBase: TELLBUS_closeConnection error: 9\n",
              stdoutOf([&] { mServer.disableTellbus(); }));
    EXPECT_THAT(bus.operations(), ElementsAre("unregisterService", "closeConnection", "shutdown"));
    EXPECT_NE(nullptr, mServer.busConnection());
    EXPECT_TRUE(cookie.freed());

    bus.answer("closeConnection", 0);
    bus.calls.clear();
    mServer.disableTellbus();
    EXPECT_THAT(bus.operations(), ElementsAre("closeConnection", "shutdown"));
    EXPECT_EQ(nullptr, mServer.busConnection());
}

TEST(CTellbusEventServerBaseDestruction, DisablesTheBus) {
    FakeTellbus bus;
    { Plain const server; }
    EXPECT_THAT(bus.operations(),
                ElementsAre("initialize", "getConnection", "closeConnection", "shutdown"));
}

// Services

TEST_F(CTellbusEventServerBaseTest, ARegistrationNamesTheServiceAndBringsItsRequests) {
    bus.calls.clear();
    void* const handle = mServer.registerWithTellbus("a.b", "/a/b", &mContext);
    EXPECT_NE(nullptr, handle);
    EXPECT_THAT(bus.calls,
                ElementsAre("registerService " + shown(mServer.busConnection()) + " a.b /a/b 0"));
    bus.request(&mRequestContext, "checkTag", "{}");
    runQueued();
    EXPECT_THAT(mServer.handled, ElementsAre("request checkTag"));
    EXPECT_THAT(mServer.contexts, ElementsAre(&mContext));
}

TEST_F(CTellbusEventServerBaseTest, ARegistrationThatFailsPrintsTheWholeStatusAndReturnsNull) {
    bus.answer("registerService", 0x8000ABCDU);
    void* handle = &mContext;
    EXPECT_EQ("CTellbusEventServerBase: TELLBUS_registerService error 0x8000ABCD\n",
              stdoutOf([&] { handle = mServer.registerWithTellbus("a.b", "/a/b", &mContext); }));
    EXPECT_EQ(nullptr, handle);
    bus.calls.clear();
    mServer.disableTellbus();
    EXPECT_THAT(bus.operations(), ElementsAre("closeConnection", "shutdown"));
}

TEST_F(CTellbusEventServerBaseTest, UnregisteringAnUnknownHandleDoesNothing) {
    bus.calls.clear();
    EXPECT_EQ("", stdoutOf([&] { mServer.unregisterWithTellbus(&mContext); }));
    EXPECT_THAT(bus.calls, IsEmpty());
}

TEST_F(CTellbusEventServerBaseTest, UnregisteringRemovesThatOneAndKeepsTheOrder) {
    void* const first = mServer.registerWithTellbus("a.b", "/a/b", &mContext);
    void* const second = mServer.registerWithTellbus("a.c", "/a/c", &mContext);
    void* const third = mServer.registerWithTellbus("a.d", "/a/d", &mContext);
    FreeWatch const cookie(bus.services.at(1).cookie);
    bus.answer("unregisterService", 0x40000001U);
    EXPECT_EQ(0x40000001U, mServer.unregisterWithTellbus(second));
    EXPECT_FALSE(cookie.freed());
    bus.answer("unregisterService", 0);
    bus.calls.clear();
    mServer.disableTellbus();
    bus.calls.resize(2);
    EXPECT_THAT(bus.calls, ElementsAre("unregisterService " + shown(first),
                                       "unregisterService " + shown(third)));
    EXPECT_TRUE(cookie.freed());
}

TEST_F(CTellbusEventServerBaseTest, AnUnregisterThatFailsPrintsTheWholeStatusAndKeepsTheHandle) {
    void* const handle = mServer.registerWithTellbus("a.b", "/a/b", &mContext);
    bus.answer("unregisterService", 0x80000007U);
    unsigned int status = 0;
    EXPECT_EQ("CTellbusEventServerBase: TELLBUS_unregisterService error 0x80000007\n",
              stdoutOf([&] { status = mServer.unregisterWithTellbus(handle); }));
    EXPECT_EQ(0x80000007U, status);
    bus.answer("unregisterService", 0);
    bus.calls.clear();
    mServer.unregisterWithTellbus(handle);
    EXPECT_THAT(bus.calls, ElementsAre("unregisterService " + shown(handle)));
}

// Handlers that nobody overrides

TEST(CTellbusEventServerBaseDefaults, SayWhichHandlerIsMissing) {
    FakeTellbus bus;
    Plain server;
    auto const line = [](std::string const& name) {
        return "CTellbusEventServerBase::" + name
               + " - function not implemented. May need to be overridden in child class.\n";
    };
    EXPECT_EQ(line("processTellbusRequest"),
              stdoutOf([&] { server.processTellbusRequest(nullptr, nullptr); }));
    EXPECT_EQ(line("processTellbusResult"),
              stdoutOf([&] { server.processTellbusResult(nullptr, nullptr); }));
    EXPECT_EQ(line("processTellbusStatus"),
              stdoutOf([&] { server.processTellbusStatus(0, nullptr); }));
    EXPECT_EQ(line("processTellbusNameChange"),
              stdoutOf([&] { server.processTellbusNameChange(nullptr, nullptr); }));
    EXPECT_EQ(line("processAccessoryEvent"),
              stdoutOf([&] { server.processAccessoryEvent(nullptr); }));
}

TEST(CTellbusEventServerBaseDefaults, OfTheSignalHandlerNamesTheResultHandler) {
    FakeTellbus bus;
    Plain server;
    EXPECT_EQ("CTellbusEventServerBase::processTellbusResult - function not implemented. May need "
              "to be overridden in child class.\n",
              stdoutOf([&] { server.processTellbusSignal(nullptr, nullptr); }));
}
