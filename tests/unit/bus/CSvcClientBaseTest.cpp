#include "bus/CSvcClientBase.h"

#include "BusTest.h"

#include <atomic>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr char NAME[] = "com.veldan.service.Media";
constexpr char PATH[] = "/com/veldan/service/Media";
constexpr unsigned int TIMEOUT = 10000;

/** Takes everything and notes it as "kind id data". */
class Client final : public CSvcClientBase {
public:
    using CSvcClientBase::processTellbusResult;
    void processTellbusResult(unsigned int const& id, char const* text, void* context) override {
        note("result " + std::to_string(id) + " " + text, context);
    }
    void processTellbusSignal(unsigned int const& id, CTellbusSignal const* signal,
                              void* context) override {
        note("signal " + std::to_string(id) + " " + signal->data, context);
    }
    void processTellbusNameChange(unsigned int const& id, CTellbusNameChange const* change,
                                  void* context) override {
        note("name " + std::to_string(id) + " " + change->newOwner, context);
    }

    std::vector<std::string> events;
    std::vector<void*> contexts;
    std::function<void()> inHandler;

private:
    void note(std::string const& event, void* context) {
        events.push_back(event);
        contexts.push_back(context);
        if (inHandler) {
            inHandler();
        }
    }
};

class CSvcClientBaseTest : public RouterTest {
protected:
    CSvcClientBaseTest() { bus.calls.clear(); }

    unsigned int invoke(bool noReply = false) {
        Json::Value parameters(Json::objectValue);
        parameters["b"] = 2;
        parameters["a"] = 1;
        return client->invoke(NAME, PATH, "getDevices", parameters, noReply, TIMEOUT, &context);
    }
    std::string connection() const { return shown(router().busConnection()); }
    std::string ignoring(unsigned int id) const {
        return "CTellbusEventRouter::processTellbusResult() - ignoring result having id: "
               + std::to_string(id) + "\n";
    }
    std::string printedByRun() {
        return stdoutOf([&] { runQueued(); });
    }

    std::optional<Client> client{std::in_place};
    int context = 0;
};

} // namespace

// Calls

TEST_F(CSvcClientBaseTest, InvokeSendsTheCompactJsonAndTheTimeoutUnchanged) {
    EXPECT_NE(0U, invoke());
    EXPECT_THAT(bus.calls,
                ElementsAre("asyncInvoke " + connection()
                            + " com.veldan.service.Media /com/veldan/service/Media getDevices "
                              "{\"a\":1,\"b\":2}\n 0 10000 null"));
    bus.reply("{}");
    runQueued();
}

TEST_F(CSvcClientBaseTest, AReplyReachesTheTextFormWithIdAndContext) {
    unsigned int const id = invoke();
    bus.reply(R"({"devices":[]})");
    EXPECT_EQ("", printedByRun());
    EXPECT_THAT(client->events, ElementsAre("result " + std::to_string(id) + " {\"devices\":[]}"));
    EXPECT_THAT(client->contexts, ElementsAre(&context));
}

TEST_F(CSvcClientBaseTest, AFailedCallIsAReplyWithEmptyText) {
    unsigned int const id = invoke();
    bus.reply(nullptr, FakeTellbus::FAILURE);
    runQueued();
    EXPECT_THAT(client->events, ElementsAre("result " + std::to_string(id) + " "));
}

TEST_F(CSvcClientBaseTest, ACallThatNobodyAnswersHasNoResultAndIsForgotten) {
    for (TELLBUS_tStatus const silence :
         {TELLBUS_E_TIMEOUT, TELLBUS_E_NO_REPLY, TELLBUS_E_DISCONNECTED, TELLBUS_E_CLOSED}) {
        unsigned int const id = invoke();
        bus.reply(nullptr, silence, bus.invocations.size() - 1);
        EXPECT_EQ("", printedByRun());
        EXPECT_THAT(client->events, IsEmpty());
        client->ignoreResponse(id);
    }
}

TEST_F(CSvcClientBaseTest, ATextIsAResultWhateverTheStatusSays) {
    for (TELLBUS_tStatus const status :
         {TELLBUS_E_TIMEOUT, TELLBUS_E_NO_REPLY, TELLBUS_E_DISCONNECTED, TELLBUS_E_CLOSED,
          FakeTellbus::FAILURE}) {
        client->events.clear();
        unsigned int const id = invoke();
        bus.reply("{}", status, bus.invocations.size() - 1);
        runQueued();
        EXPECT_THAT(client->events, ElementsAre("result " + std::to_string(id) + " {}"));
    }
}

TEST_F(CSvcClientBaseTest, SilenceWithoutEvenAnEmptyTextIsNoResult) {
    unsigned int const id = invoke();
    CTellbusResult silence(nullptr, TELLBUS_E_TIMEOUT);
    client->processTellbusResult(id, &silence, &context);
    EXPECT_THAT(client->events, IsEmpty());
    bus.reply("{}");
    runQueued();
}

TEST_F(CSvcClientBaseTest, InvokeWithoutReplyReturnsZeroAndLeavesNoPendingCall) {
    EXPECT_EQ(0U, invoke(true));
    EXPECT_EQ(nullptr, bus.invocations.at(0).cookie);
    EXPECT_THAT(bus.calls.at(0), HasSubstr(" 1 10000 null"));
    bus.answer("asyncInvoke", FakeTellbus::FAILURE);
    EXPECT_EQ(0U, invoke(true));
    bus.answer("asyncInvoke", 0);
    EXPECT_EQ(1U, invoke());
    bus.reply("{}", 0, 1);
    runQueued();
    EXPECT_THAT(client->events, ElementsAre("result 1 {}"));
}

TEST_F(CSvcClientBaseTest, InvokeThatFailsAtTheBusReturnsAnIdAndLeavesNoPendingCall) {
    bus.answer("asyncInvoke", FakeTellbus::FAILURE);
    unsigned int const id = invoke();
    EXPECT_NE(0U, id);
    // Were it still listed, this would clear the target of cookies that are freed.
    client->ignoreResponse(id);
    EXPECT_EQ("", printedByRun());
    EXPECT_THAT(client->events, IsEmpty());
}

TEST_F(CSvcClientBaseTest, AHandlerFindsItsPendingCallStillListed) {
    unsigned int const id = invoke();
    CTellbusRouterCookie const* const registration = static_cast<CTellbusRouterCookie*>(
        static_cast<CTellbusEventCookie*>(bus.invocations.at(0).cookie)->context);
    void* targetAfterIgnoring = &context;
    client->inHandler = [&] {
        client->ignoreResponse(id);
        targetAfterIgnoring = registration->target;
    };
    bus.reply("{}");
    EXPECT_EQ("", printedByRun());
    EXPECT_EQ(1U, client->events.size());
    EXPECT_EQ(nullptr, targetAfterIgnoring);
}

TEST_F(CSvcClientBaseTest, ACallIsForgottenBehindItsReplyAndTheOthersStay) {
    unsigned int const first = invoke();
    unsigned int const second = invoke();
    bus.reply("[1]", 0, 0);
    runQueued();
    client->ignoreResponse(first);
    bus.reply("[2]", 0, 1);
    EXPECT_EQ("", printedByRun());
    EXPECT_THAT(client->events, ElementsAre("result " + std::to_string(first) + " [1]",
                                            "result " + std::to_string(second) + " [2]"));
}

TEST_F(CSvcClientBaseTest, ACallIsForgottenWhenItsHandlerThrows) {
    unsigned int const id = invoke();
    client->inHandler = [] { throw std::runtime_error("handler"); };
    bus.reply("{}");
    EXPECT_THROW(runQueued(), std::runtime_error);
    // Both would reach for the router cookie, which is freed.
    client->ignoreResponse(id);
    client.reset();
    runQueued();
}

TEST_F(CSvcClientBaseTest, AReplyAfterIgnoreResponseCallsNoHandlerAndPrintsItsId) {
    invoke();
    unsigned int const id = invoke();
    client->ignoreResponse(id);
    bus.reply("[2]", 0, 1);
    EXPECT_EQ(ignoring(id), printedByRun());
    bus.reply("[1]", 0, 0);
    runQueued();
    EXPECT_THAT(client->events, ElementsAre("result 1 [1]"));
}

TEST_F(CSvcClientBaseTest, IgnoreResponseWorksWhenTheReplyIsAlreadyQueued) {
    unsigned int const id = invoke();
    FreeWatch const eventCookie(bus.invocations.at(0).cookie);
    bus.reply("{}");
    ASSERT_TRUE(eventCookie.freed());
    client->ignoreResponse(id);
    EXPECT_EQ(ignoring(id), printedByRun());
    EXPECT_THAT(client->events, IsEmpty());
}

TEST_F(CSvcClientBaseTest, IgnoreResponseOfAnUnknownIdDoesNothing) {
    EXPECT_EQ("", stdoutOf([&] { client->ignoreResponse(77); }));
    EXPECT_THAT(bus.calls, IsEmpty());
}

TEST_F(CSvcClientBaseTest, AReplyMayComeBeforeInvokeHasReturned) {
    bus.duringInvoke = [&] { bus.reply("{}"); };
    unsigned int const id = invoke();
    EXPECT_THAT(client->events, IsEmpty());
    runQueued();
    EXPECT_THAT(client->events, ElementsAre("result " + std::to_string(id) + " {}"));
}

// Subscriptions

TEST_F(CSvcClientBaseTest, SubscribeBringsEverySignal) {
    unsigned int const id = client->subscribe(PATH, "deviceState", &context);
    EXPECT_THAT(bus.calls, ElementsAre("subscribe " + connection()
                                       + " /com/veldan/service/Media deviceState"));
    bus.signal("deviceState", "[1]");
    bus.signal("deviceState", "[2]");
    runQueued();
    std::string const start = "signal " + std::to_string(id);
    EXPECT_THAT(client->events, ElementsAre(start + " [1]", start + " [2]"));
    EXPECT_THAT(client->contexts, ElementsAre(&context, &context));
}

TEST_F(CSvcClientBaseTest, ASubscribeThatFailsReturnsAnIdWithoutAWordAndIsNotListed) {
    bus.answer("subscribe", FakeTellbus::FAILURE);
    unsigned int id = 0;
    EXPECT_EQ("", stdoutOf([&] { id = client->subscribe(PATH, "deviceState", &context); }));
    EXPECT_NE(0U, id);
    bus.calls.clear();
    client->unsubscribe(id);
    EXPECT_THAT(bus.calls, IsEmpty());
}

TEST_F(CSvcClientBaseTest, SubscribeOwnerChangedBringsEveryChange) {
    unsigned int const id = client->subscribeOwnerChanged(NAME, &context);
    EXPECT_THAT(bus.calls,
                ElementsAre("subscribeOwnerChanged " + connection() + " com.veldan.service.Media"));
    bus.nameChange(NAME, "", ":1.5");
    runQueued();
    EXPECT_THAT(client->events, ElementsAre("name " + std::to_string(id) + " :1.5"));
    EXPECT_THAT(client->contexts, ElementsAre(&context));
}

TEST_F(CSvcClientBaseTest, AFailedOwnerSubscriptionPrintsItsLineWithTheStopBehindTheLineFeed) {
    bus.answer("subscribeOwnerChanged", FakeTellbus::FAILURE);
    unsigned int id = 0;
    EXPECT_EQ("error subscribing for ownerChange signal\n.",
              stdoutOf([&] { id = client->subscribeOwnerChanged(NAME, &context); }));
    EXPECT_NE(0U, id);
    bus.calls.clear();
    client->unsubscribe(id);
    EXPECT_THAT(bus.calls, IsEmpty());
}

TEST_F(CSvcClientBaseTest, UnsubscribeAsksTheLibraryAndDropsWhatIsQueued) {
    unsigned int const id = client->subscribe(PATH, "deviceState", &context);
    bus.signal("deviceState", "[1]");
    bus.calls.clear();
    client->unsubscribe(id);
    EXPECT_THAT(bus.calls,
                ElementsAre("asyncUnsubscribe " + shown(bus.subscriptions.at(0).handle)));
    bus.signal("deviceState", "[2]");
    bus.complete();
    EXPECT_EQ("", printedByRun());
    EXPECT_THAT(client->events, IsEmpty());
    bus.calls.clear();
    client->unsubscribe(id);
    EXPECT_THAT(bus.calls, IsEmpty());
}

TEST_F(CSvcClientBaseTest, TheCompletionOfAnUnsubscribeFreesEveryCookieOfIt) {
    unsigned int const id = client->subscribe(PATH, "deviceState", &context);
    client->unsubscribe(id);
    auto const* const signalCookie =
        static_cast<CTellbusEventCookie*>(bus.subscriptions.at(0).cookie);
    auto const* const statusCookie =
        static_cast<CTellbusEventCookie*>(bus.unsubscribes.at(0).cookie);
    FreeWatch const watches[]{
        FreeWatch(signalCookie), FreeWatch(signalCookie->context), FreeWatch(statusCookie),
        FreeWatch(statusCookie->context),
        FreeWatch(static_cast<CTellbusRouterCookie*>(statusCookie->context)->context)};
    bus.complete();
    for (FreeWatch const& watch : watches) {
        EXPECT_FALSE(watch.freed());
    }
    runQueued();
    for (FreeWatch const& watch : watches) {
        EXPECT_TRUE(watch.freed());
    }
}

TEST_F(CSvcClientBaseTest, AFailedCompletionLeavesTheCookiesToTheLibrary) {
    unsigned int const id = client->subscribe(PATH, "deviceState", &context);
    client->unsubscribe(id);
    FreeWatch const signalCookie(bus.subscriptions.at(0).cookie);
    bus.complete(FakeTellbus::FAILURE);
    runQueued();
    EXPECT_FALSE(signalCookie.freed());
    bus.signal("deviceState", "[1]");
    EXPECT_EQ("", printedByRun());
    EXPECT_THAT(client->events, IsEmpty());
}

TEST_F(CSvcClientBaseTest, UnsubscribeEndsThatOneAndLeavesTheOthers) {
    client->subscribe(PATH, "a", &context);
    unsigned int const id = client->subscribe(PATH, "b", &context);
    client->subscribe(PATH, "c", &context);
    client->unsubscribe(id);
    bus.signal("a", "[1]", 0);
    bus.signal("b", "[2]", 1);
    bus.signal("c", "[3]", 2);
    bus.complete();
    runQueued();
    EXPECT_THAT(client->events, ElementsAre("signal 1 [1]", "signal 3 [3]"));
}

TEST_F(CSvcClientBaseTest, UnsubscribeOfAnUnknownIdDoesNothingWithoutAMessage) {
    client->subscribe(PATH, "deviceState", &context);
    bus.calls.clear();
    EXPECT_EQ("", stdoutOf([&] { client->unsubscribe(77); }));
    EXPECT_THAT(bus.calls, IsEmpty());
}

TEST_F(CSvcClientBaseTest, AnUnsubscribeThatFailsSaysSoAndTheSubscriptionGoesOn) {
    unsigned int const id = client->subscribe(PATH, "deviceState", &context);
    bus.answer("asyncUnsubscribe", FakeTellbus::FAILURE);
    EXPECT_EQ("CSvcClientBase: TELLBUS_unsubscribe error!\n",
              stdoutOf([&] { client->unsubscribe(id); }));
    bus.signal("deviceState", "[1]");
    runQueued();
    EXPECT_EQ(1U, client->events.size());

    bus.answer("asyncUnsubscribe", 0);
    bus.calls.clear();
    client->unsubscribe(id);
    EXPECT_EQ(1U, bus.calls.size());
    bus.complete();
    runQueued();
}

// Names

TEST_F(CSvcClientBaseTest, NameHasOwnerTellsWhatTheLibrarySays) {
    EXPECT_FALSE(client->nameHasOwner(NAME));
    bus.hasOwner = 2;
    EXPECT_TRUE(client->nameHasOwner(NAME));
    EXPECT_EQ("nameHasOwner " + connection() + " com.veldan.service.Media", bus.calls.at(0));
}

TEST_F(CSvcClientBaseTest, NameHasOwnerIsFalseWhenTheBusCannotBeAsked) {
    bus.hasOwner = 1;
    bus.answer("nameHasOwner", FakeTellbus::FAILURE);
    EXPECT_FALSE(client->nameHasOwner(NAME));
    bus.answer("nameHasOwner", 0x40000001U);
    EXPECT_TRUE(client->nameHasOwner(NAME));
}

// The end of the object

TEST_F(CSvcClientBaseTest, EventsForAClientThatIsGoneAreDropped) {
    client->subscribe(PATH, "deviceState", &context);
    unsigned int const id = invoke();
    bus.signal("deviceState", "[1]");
    FreeWatch const signalCookie(bus.subscriptions.at(0).cookie);
    client.reset();
    // The library goes on until the bus is closed.
    EXPECT_FALSE(signalCookie.freed());
    bus.signal("deviceState", "[2]");
    bus.reply("{}");
    EXPECT_EQ(ignoring(id), printedByRun());
}

TEST_F(CSvcClientBaseTest, AClientMayGoWhileTheLoopRuns) {
    client->subscribe(PATH, "deviceState", &context);
    Client other;
    other.subscribe(PATH, "deviceState", &context);
    unsigned int const call = invoke();
    other.inHandler = [&] { client.reset(); };
    bus.signal("deviceState", "[1]", 1);
    bus.signal("deviceState", "[2]", 0);
    bus.reply("{}");
    EXPECT_EQ(ignoring(call), printedByRun());
    EXPECT_EQ(1U, other.events.size());
}

TEST_F(CSvcClientBaseTest, AnUnsubscribeCompletesAfterTheClientIsGone) {
    unsigned int const id = client->subscribe(PATH, "deviceState", &context);
    FreeWatch const signalCookie(bus.subscriptions.at(0).cookie);
    client->unsubscribe(id);
    client.reset();
    bus.complete();
    runQueued();
    EXPECT_TRUE(signalCookie.freed());
}

TEST(CSvcClientBaseLife, HoldsFiveReferencesAndGivesThemBack) {
    FakeTellbus bus;
    std::optional<Client> client(std::in_place);
    for (int reference = 1; reference < 5; ++reference) {
        EXPECT_EQ("", stdoutOf([] { CTellbusEventRouter::releaseMe(); }));
    }
    for (int reference = 1; reference < 5; ++reference) {
        CTellbusEventRouter::getMe();
    }
    EXPECT_EQ("Destroyed CTellbusEventRouter.\n", stdoutOf([&] { client.reset(); }));
}

TEST(CSvcClientBaseLife, TheLastHolderMayGoWhileTheLibraryStillCallsBack) {
    FakeTellbus bus;
    std::thread library;
    std::atomic<bool> shutDown{false};
    std::atomic<int> signals{0};
    bus.duringShutdown = [&] {
        shutDown = true;
        library.join();
    };
    std::optional<Client> client(std::in_place);
    client->subscribe(PATH, "deviceState", nullptr);
    FakeTellbus::Subscription const subscription = bus.subscriptions.at(0);
    library = std::thread([&] {
        while (!shutDown) {
            if (signals < 1000) {
                subscription.callback("deviceState", "{}", subscription.cookie);
                ++signals;
            }
        }
        subscription.callback("deviceState", "{}", subscription.cookie);
    });
    EXPECT_EQ("Destroyed CTellbusEventRouter.\n", stdoutOf([&] { client.reset(); }));
    EXPECT_TRUE(shutDown);
}

// Handlers that nobody overrides

TEST_F(CSvcClientBaseTest, DefaultsSayThatTheyAreDefaults) {
    CSvcClientBase plain;
    auto const line = [](std::string const& name) {
        return "CSvcClientBase::" + name
               + "() - Warning: Function not overridden by child class.\n";
    };
    EXPECT_EQ(line("processTellbusResult"),
              stdoutOf([&] { plain.processTellbusResult(1, "", nullptr); }));
    EXPECT_EQ(line("processTellbusSignal"),
              stdoutOf([&] { plain.processTellbusSignal(1, nullptr, nullptr); }));
    EXPECT_EQ(line("processTellbusNameChange"),
              stdoutOf([&] { plain.processTellbusNameChange(1, nullptr, nullptr); }));
    EXPECT_EQ("CSvcClientBase::processTellbusStatus() - Warning: Function not intended for use at "
              "this time.\n",
              stdoutOf([&] { plain.processTellbusStatus(1, 0, nullptr); }));
}
