#include "bus/CTellbusEventRouter.h"

#include "BusTest.h"
#include "RouterIds.h"
#include "bus/CTellbusAccessoryEventTarget.h"
#include "bus/CTellbusNameChangeTarget.h"
#include "bus/CTellbusRequest.h"
#include "bus/CTellbusRequestTarget.h"
#include "bus/CTellbusResultTarget.h"
#include "bus/CTellbusSignalTarget.h"
#include "bus/CTellbusStatusTarget.h"

#include <optional>
#include <thread>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char DESTROYED[] = "Destroyed CTellbusEventRouter.\n";

/** Takes everything and notes it as "kind id data". */
struct Target final : CTellbusResultTarget,
                      CTellbusSignalTarget,
                      CTellbusStatusTarget,
                      CTellbusNameChangeTarget,
                      CTellbusAccessoryEventTarget,
                      CTellbusRequestTarget {
    static constexpr int BASES = 6;

    void processTellbusResult(unsigned int const& id, CTellbusResult* result,
                              void* context) override {
        note("result " + std::to_string(id) + " " + result->text, context);
    }
    void processTellbusSignal(unsigned int const& id, CTellbusSignal const* signal,
                              void* context) override {
        note("signal " + std::to_string(id) + " " + signal->data, context);
    }
    void processTellbusStatus(unsigned int const&, unsigned int, void* context) override {
        note("status", context);
    }
    void processTellbusNameChange(unsigned int const& id, CTellbusNameChange const* change,
                                  void* context) override {
        note("name " + std::to_string(id) + " " + change->name, context);
    }
    void processAccessoryEvent(void* context) override { note("accessory", context); }
    void processTellbusRequest(CTellbusRequest* request) override {
        note("request " + request->method, nullptr);
    }

    std::vector<std::string> events;
    std::vector<void*> contexts;

private:
    void note(std::string const& event, void* context) {
        events.push_back(event);
        contexts.push_back(context);
    }
};

CTellbusRouterCookie* routerCookieOf(CTellbusEventCookie const* cookie) {
    return static_cast<CTellbusRouterCookie*>(cookie->context);
}

/** Without a router at its start, unlike RouterTest. */
class CTellbusEventRouterLife : public testing::Test {
protected:
    FakeTellbus bus;
};

class CTellbusEventRouterTest : public RouterTest {
protected:
    /** Delivers a result as the library does; the cookie is gone afterwards. */
    static void reply(CTellbusEventCookie* cookie, char const* text) {
        TELLBUS_tCallbackStatus const status{0};
        FakeTellbus::onLibraryThread(
            [&] { CTellbusEventListener::onTellbusResult(&status, text, cookie); });
    }
    static void signal(CTellbusEventCookie* cookie, char const* data) {
        FakeTellbus::onLibraryThread(
            [&] { CTellbusEventListener::onTellbusSignal("s", data, cookie); });
    }
    static void nameChange(CTellbusEventCookie* cookie, char const* name) {
        FakeTellbus::onLibraryThread(
            [&] { CTellbusEventListener::onTellbusNameOwnerChanged(name, "", ":1.2", cookie); });
    }
    static void complete(CTellbusEventCookie* cookie, TELLBUS_tStatus word) {
        TELLBUS_tCallbackStatus const status{word};
        FakeTellbus::onLibraryThread(
            [&] { CTellbusEventListener::onTellbusStatus(&status, cookie); });
    }

    Target target;
    CTellbusEventCookie* cookie = nullptr;
    int context = 0;
};

} // namespace

// The instance

TEST_F(CTellbusEventRouterLife, TheFirstHolderBringsUpTheChannelAndTheBus) {
    CTellbusEventRouter* const router = CTellbusEventRouter::getMe();
    EXPECT_EQ(_NTO_CHF_FIXED_PRIORITY, channelHooks::newestChannelFlags());
    EXPECT_THAT(bus.operations(), ElementsAre("initialize", "getConnection"));
    EXPECT_EQ(router, CTellbusEventRouter::getMe());
    EXPECT_THAT(bus.operations(), ElementsAre("initialize", "getConnection"));
    EXPECT_EQ("", stdoutOf([] { CTellbusEventRouter::releaseMe(); }));
    EXPECT_EQ(DESTROYED, stdoutOf([] { CTellbusEventRouter::releaseMe(); }));
}

TEST_F(CTellbusEventRouterLife, TheLastReleaseClosesTheBus) {
    CTellbusEventRouter::getMe();
    bus.calls.clear();
    stdoutOf([] { CTellbusEventRouter::releaseMe(); });
    EXPECT_THAT(bus.operations(), ElementsAre("closeConnection", "shutdown"));
}

TEST_F(CTellbusEventRouterLife, AfterTheLastReleaseGetMeMakesANewOne) {
    CTellbusEventRouter::getMe();
    stdoutOf([] { CTellbusEventRouter::releaseMe(); });
    bus.calls.clear();
    CTellbusEventRouter::getMe();
    EXPECT_THAT(bus.operations(), ElementsAre("initialize", "getConnection"));
    EXPECT_EQ(DESTROYED, stdoutOf([] { CTellbusEventRouter::releaseMe(); }));
}

TEST_F(CTellbusEventRouterLife, ReleasingWithoutAnInstanceDoesNothing) {
    EXPECT_EQ("", stdoutOf([] { CTellbusEventRouter::releaseMe(); }));
}

TEST_F(CTellbusEventRouterLife, AnObjectHoldsAsManyReferencesAsItHasTargetBases) {
    auto target = std::make_unique<Target>();
    for (int base = 1; base < Target::BASES; ++base) {
        EXPECT_EQ("", stdoutOf([] { CTellbusEventRouter::releaseMe(); }));
    }
    EXPECT_EQ(DESTROYED, stdoutOf([] { CTellbusEventRouter::releaseMe(); }));
    EXPECT_EQ("", stdoutOf([&] { target.reset(); }));
}

TEST_F(CTellbusEventRouterLife, TargetIdsStartAtOneAndDifferForEachBase) {
    std::optional<Target> target(std::in_place);
    EXPECT_EQ(1U, static_cast<CTellbusResultTarget&>(*target).targetId());
    EXPECT_EQ(2U, static_cast<CTellbusSignalTarget&>(*target).targetId());
    EXPECT_EQ(3U, static_cast<CTellbusStatusTarget&>(*target).targetId());
    EXPECT_EQ(4U, static_cast<CTellbusNameChangeTarget&>(*target).targetId());
    EXPECT_EQ(7U, CTellbusEventRouter::getMe()->nextTargetId());
    CTellbusEventRouter::releaseMe();
    EXPECT_EQ(DESTROYED, stdoutOf([&] { target.reset(); }));
}

TEST_F(CTellbusEventRouterTest, IsNotDestroyedWhileItRunsAndTheCountStaysAtZero) {
    struct Releaser final : CTellbusAccessoryEventTarget {
        void processAccessoryEvent(void*) override {
            for (int reference = 0; reference < 2 + Target::BASES; ++reference) {
                CTellbusEventRouter::releaseMe();
            }
            CTellbusEventRouter::releaseMe();
        }
    } releaser;
    CTellbusEventRouter* const before = &router();
    std::unique_ptr<CTellbusRouterCookie> const accessory(
        router().registerAsAccessoryEventTarget(&releaser, nullptr));
    post(CTellbusEvent::Accessory, accessory.get());
    bus.calls.clear();
    EXPECT_EQ("", stdoutOf([&] { runQueued(); }));
    EXPECT_THAT(bus.calls, IsEmpty());

    // The instance is still there, and now that nothing runs a release at zero destroys it.
    EXPECT_EQ(before, CTellbusEventRouter::getMe());
    CTellbusEventRouter::getMe();
    EXPECT_EQ("", stdoutOf([] { CTellbusEventRouter::releaseMe(); }));
    EXPECT_EQ(DESTROYED, stdoutOf([] { CTellbusEventRouter::releaseMe(); }));
}

TEST_F(CTellbusEventRouterTest, ReleasingWithACountAtZeroGoesOnToTheDestruction) {
    struct Releaser final : CTellbusAccessoryEventTarget {
        void processAccessoryEvent(void*) override {
            for (int reference = 0; reference < 2 + Target::BASES; ++reference) {
                CTellbusEventRouter::releaseMe();
            }
        }
    } releaser;
    std::unique_ptr<CTellbusRouterCookie> const accessory(
        router().registerAsAccessoryEventTarget(&releaser, nullptr));
    post(CTellbusEvent::Accessory, accessory.get());
    runQueued();
    EXPECT_EQ(DESTROYED, stdoutOf([] { CTellbusEventRouter::releaseMe(); }));
}

// Registration

TEST_F(CTellbusEventRouterTest, ARegistrationFillsBothCookiesForItsKindOfEvent) {
    CTellbusEventCookie* cookies[4]{};
    EXPECT_EQ(1U, router().registerAsResultTarget(&target, cookies[0], &context));
    EXPECT_EQ(2U, router().registerAsSignalTarget(&target, cookies[1], &context));
    EXPECT_EQ(3U, router().registerAsStatusTarget(&target, cookies[2], &context));
    EXPECT_EQ(4U, router().registerAsNameChangeTarget(&target, cookies[3], &context));
    void* const targets[]{static_cast<CTellbusResultTarget*>(&target),
                          static_cast<CTellbusSignalTarget*>(&target),
                          static_cast<CTellbusStatusTarget*>(&target),
                          static_cast<CTellbusNameChangeTarget*>(&target)};
    for (unsigned int index = 0; index < 4; ++index) {
        CTellbusRouterCookie const* const registration = routerCookieOf(cookies[index]);
        EXPECT_EQ(2 + static_cast<int>(index), cookies[index]->eventCode);
        EXPECT_NE(nullptr, cookies[index]->listener);
        EXPECT_EQ(targets[index], registration->target);
        EXPECT_EQ(&context, registration->context);
        EXPECT_EQ(index + 1, registration->cookieId);
        EXPECT_EQ(index + 1, registration->targetId);
        router().unregisterAsEventTarget(cookies[index], true);
    }
}

TEST_F(CTellbusEventRouterTest, AnAccessoryRegistrationIsTheRouterCookieAlone) {
    std::unique_ptr<CTellbusRouterCookie> const accessory(
        router().registerAsAccessoryEventTarget(&target, &context));
    EXPECT_EQ(static_cast<CTellbusAccessoryEventTarget*>(&target), accessory->target);
    EXPECT_EQ(&context, accessory->context);
    EXPECT_EQ(1U, accessory->cookieId);
    EXPECT_EQ(static_cast<CTellbusAccessoryEventTarget&>(target).targetId(), accessory->targetId);
}

TEST_F(CTellbusEventRouterTest, UnregisteringWithReleaseFreesBothCookies) {
    router().registerAsSignalTarget(&target, cookie, &context);
    FreeWatch const eventCookie(cookie);
    FreeWatch const routerCookie(cookie->context);
    router().unregisterAsEventTarget(cookie, true);
    EXPECT_TRUE(eventCookie.freed());
    EXPECT_TRUE(routerCookie.freed());
}

TEST_F(CTellbusEventRouterTest, UnregisteringWithoutReleaseClearsTheTargetAndKeepsBothCookies) {
    router().registerAsSignalTarget(&target, cookie, &context);
    FreeWatch const eventCookie(cookie);
    FreeWatch const routerCookie(cookie->context);
    router().unregisterAsEventTarget(cookie, false);
    EXPECT_EQ(nullptr, routerCookieOf(cookie)->target);
    EXPECT_FALSE(eventCookie.freed());
    EXPECT_FALSE(routerCookie.freed());
    router().unregisterAsEventTarget(cookie, true);
}

TEST_F(CTellbusEventRouterTest, ARouterCookieCanBeUnregisteredByItself) {
    CTellbusRouterCookie* const accessory =
        router().registerAsAccessoryEventTarget(&target, &context);
    FreeWatch const watch(accessory);
    router().unregisterAsEventTarget(accessory, false);
    EXPECT_EQ(nullptr, accessory->target);
    EXPECT_FALSE(watch.freed());
    router().unregisterAsEventTarget(accessory, true);
    EXPECT_TRUE(watch.freed());
}

TEST_F(CTellbusEventRouterTest, ARetiredSubscriptionIsDroppedAndItsCookiesStayUntilTheBusIsClosed) {
    router().registerAsSignalTarget(&target, cookie, &context);
    FreeWatch const eventCookie(cookie);
    FreeWatch const routerCookie(cookie->context);
    router().retire(
        std::make_unique<CTellbusSubscription>(1, nullptr, cookie, routerCookieOf(cookie)));
    signal(cookie, "[1]");
    bool freedDuringShutdown = true;
    bus.duringShutdown = [&] { freedDuringShutdown = eventCookie.freed(); };
    router().disableTellbus();
    EXPECT_FALSE(freedDuringShutdown);
    EXPECT_TRUE(eventCookie.freed());
    EXPECT_FALSE(routerCookie.freed());
    runQueued();
    EXPECT_THAT(target.events, IsEmpty());
}

TEST_F(CTellbusEventRouterTest, TheIdsOfTargetsAndOfRegistrationsStepOverZero) {
    routerIds::targets(router()) = IdCounter(0xFFFFFFFEU);
    EXPECT_EQ(0xFFFFFFFFU, router().nextTargetId());
    EXPECT_EQ(1U, router().nextTargetId());

    routerIds::registrations(router()) = IdCounter(0xFFFFFFFEU);
    for (unsigned int const id : {0xFFFFFFFFU, 1U, 2U}) {
        EXPECT_EQ(id, router().registerAsSignalTarget(&target, cookie, &context));
        EXPECT_EQ(id, routerCookieOf(cookie)->cookieId);
        router().unregisterAsEventTarget(cookie, true);
    }
}

// Results

TEST_F(CTellbusEventRouterTest, AResultGoesToItsTargetOnceAndFreesTheRouterCookie) {
    unsigned int const id = router().registerAsResultTarget(&target, cookie, &context);
    FreeWatch const routerCookie(cookie->context);
    reply(cookie, "[1]");
    EXPECT_FALSE(routerCookie.freed());
    EXPECT_EQ("", stdoutOf([&] { runQueued(); }));
    EXPECT_THAT(target.events, ElementsAre("result " + std::to_string(id) + " [1]"));
    EXPECT_THAT(target.contexts, ElementsAre(&context));
    EXPECT_TRUE(routerCookie.freed());
}

TEST_F(CTellbusEventRouterTest, AResultForATargetThatUnregisteredIsReportedAndFreesTheCookie) {
    router().registerAsSignalTarget(&target, cookie, &context);
    router().unregisterAsEventTarget(cookie, true);
    router().registerAsResultTarget(&target, cookie, &context);
    FreeWatch const routerCookie(cookie->context);
    router().unregisterAsEventTarget(cookie, false);
    reply(cookie, "[1]");
    EXPECT_EQ("CTellbusEventRouter::processTellbusResult() - ignoring result having id: 2\n",
              stdoutOf([&] { runQueued(); }));
    EXPECT_THAT(target.events, IsEmpty());
    EXPECT_TRUE(routerCookie.freed());
}

TEST_F(CTellbusEventRouterTest, AResultForAnotherTargetAtTheSameAddressIsReportedAndFreesIt) {
    router().registerAsResultTarget(&target, cookie, &context);
    FreeWatch const routerCookie(cookie->context);
    routerCookieOf(cookie)->targetId += 100;
    reply(cookie, "[1]");
    EXPECT_EQ("CTellbusEventRouter::processTellbusResult() - ignoring result having id: 1\n",
              stdoutOf([&] { runQueued(); }));
    EXPECT_THAT(target.events, IsEmpty());
    EXPECT_TRUE(routerCookie.freed());
}

// Signals, name changes, accessories

TEST_F(CTellbusEventRouterTest, SignalsGoToTheirTargetAsOftenAsTheyCome) {
    unsigned int const id = router().registerAsSignalTarget(&target, cookie, &context);
    signal(cookie, "[1]");
    signal(cookie, "[2]");
    runQueued();
    std::string const start = "signal " + std::to_string(id);
    EXPECT_THAT(target.events, ElementsAre(start + " [1]", start + " [2]"));
    EXPECT_THAT(target.contexts, ElementsAre(&context, &context));
    router().unregisterAsEventTarget(cookie, true);
}

TEST_F(CTellbusEventRouterTest, NameChangesGoToTheirTargetAsOftenAsTheyCome) {
    unsigned int const id = router().registerAsNameChangeTarget(&target, cookie, &context);
    nameChange(cookie, "a.b");
    nameChange(cookie, "a.c");
    runQueued();
    std::string const start = "name " + std::to_string(id);
    EXPECT_THAT(target.events, ElementsAre(start + " a.b", start + " a.c"));
    EXPECT_THAT(target.contexts, ElementsAre(&context, &context));
    router().unregisterAsEventTarget(cookie, true);
}

TEST_F(CTellbusEventRouterTest, ASignalForATargetThatUnregisteredIsDroppedWithoutAWord) {
    router().registerAsSignalTarget(&target, cookie, &context);
    signal(cookie, "[1]");
    router().unregisterAsEventTarget(cookie, false);
    EXPECT_EQ("", stdoutOf([&] { runQueued(); }));
    EXPECT_THAT(target.events, IsEmpty());
    router().unregisterAsEventTarget(cookie, true);
}

TEST_F(CTellbusEventRouterTest, ASignalForAnotherTargetAtTheSameAddressIsDroppedWithoutAWord) {
    router().registerAsSignalTarget(&target, cookie, &context);
    routerCookieOf(cookie)->targetId += 100;
    signal(cookie, "[1]");
    EXPECT_EQ("", stdoutOf([&] { runQueued(); }));
    EXPECT_THAT(target.events, IsEmpty());
    router().unregisterAsEventTarget(cookie, true);
}

TEST_F(CTellbusEventRouterTest, ANameChangeForATargetThatUnregisteredIsDroppedWithoutAWord) {
    router().registerAsNameChangeTarget(&target, cookie, &context);
    nameChange(cookie, "a.b");
    router().unregisterAsEventTarget(cookie, false);
    EXPECT_EQ("", stdoutOf([&] { runQueued(); }));
    EXPECT_THAT(target.events, IsEmpty());
    router().unregisterAsEventTarget(cookie, true);
}

TEST_F(CTellbusEventRouterTest, AccessoryEventsGoToTheirTargetUntilItUnregisters) {
    std::unique_ptr<CTellbusRouterCookie> const accessory(
        router().registerAsAccessoryEventTarget(&target, &context));
    post(CTellbusEvent::Accessory, accessory.get());
    post(CTellbusEvent::Accessory, accessory.get());
    runQueued();
    EXPECT_THAT(target.events, ElementsAre("accessory", "accessory"));
    EXPECT_THAT(target.contexts, ElementsAre(&context, &context));

    accessory->targetId += 100;
    post(CTellbusEvent::Accessory, accessory.get());
    accessory->targetId -= 100;
    router().unregisterAsEventTarget(accessory.get(), false);
    post(CTellbusEvent::Accessory, accessory.get());
    runQueued();
    EXPECT_EQ(2U, target.events.size());
}

TEST_F(CTellbusEventRouterTest, AnAccessoryEventForAnotherTargetAtTheSameAddressIsDropped) {
    std::unique_ptr<CTellbusRouterCookie> const accessory(
        router().registerAsAccessoryEventTarget(&target, &context));
    accessory->targetId += 100;
    post(CTellbusEvent::Accessory, accessory.get());
    runQueued();
    EXPECT_THAT(target.events, IsEmpty());
}

// Completions

TEST_F(CTellbusEventRouterTest, ACompletionFreesTheSubscriptionAndCallsNoHandler) {
    CTellbusEventCookie* signalCookie = nullptr;
    router().registerAsSignalTarget(&target, signalCookie, &context);
    auto* const subscription =
        new CTellbusSubscription(1, nullptr, signalCookie, routerCookieOf(signalCookie));
    router().registerAsStatusTarget(&target, cookie, subscription);
    subscription->completionCookie = cookie;
    FreeWatch const watches[]{FreeWatch(subscription), FreeWatch(signalCookie),
                              FreeWatch(signalCookie->context), FreeWatch(cookie),
                              FreeWatch(cookie->context)};
    complete(cookie, 0x40000000U);
    runQueued();
    EXPECT_THAT(target.events, IsEmpty());
    for (FreeWatch const& watch : watches) {
        EXPECT_TRUE(watch.freed());
    }
}

TEST_F(CTellbusEventRouterTest, ACompletionOfASubscriptionWithoutACookieFreesTheSubscription) {
    auto* const subscription = new CTellbusSubscription(1, nullptr, nullptr);
    FreeWatch const watch(subscription);
    CTellbusStatusTarget::onTellbusStatus(1, 0, subscription);
    EXPECT_TRUE(watch.freed());
}

TEST_F(CTellbusEventRouterTest, AFailedCompletionFreesNothingThatTheLibraryMayStillUse) {
    auto subscription = std::make_unique<CTellbusSubscription>();
    FreeWatch const watch(subscription.get());
    CTellbusStatusTarget::onTellbusStatus(1, 0x80000000U, subscription.get());
    EXPECT_FALSE(watch.freed());

    router().registerAsSignalTarget(&target, subscription->cookie, &context);
    subscription->routerCookie = routerCookieOf(subscription->cookie);
    CTellbusEventCookie* const signalCookie = subscription->cookie;
    router().unregisterAsEventTarget(signalCookie, false);
    router().registerAsStatusTarget(&target, cookie, subscription.get());
    subscription.release()->completionCookie = cookie;
    FreeWatch const statusRegistration(cookie->context);
    complete(cookie, 0x80000005U);
    signal(signalCookie, "[1]");
    runQueued();
    EXPECT_TRUE(statusRegistration.freed());
    EXPECT_FALSE(watch.freed());
    signal(signalCookie, "[2]");
    EXPECT_EQ("", stdoutOf([&] { runQueued(); }));
    EXPECT_THAT(target.events, IsEmpty());
}

TEST_F(CTellbusEventRouterTest, AFailedCompletionLeavesTheRecordOfItsMakerAlone) {
    CTellbusEventCookie* signalCookie = nullptr;
    router().registerAsSignalTarget(&target, signalCookie, &context);
    int handle = 0;
    auto const subscription = std::make_unique<CTellbusSubscription>(3, &handle, signalCookie);
    FreeWatch const watch(subscription.get());
    router().registerAsStatusTarget(&target, cookie, subscription.get());
    complete(cookie, 0x80000005U);
    runQueued();
    ASSERT_FALSE(watch.freed());
    EXPECT_EQ(3U, subscription->id);
    EXPECT_EQ(&handle, subscription->handle);
    EXPECT_EQ(signalCookie, subscription->cookie);
    signal(signalCookie, "[1]");
    runQueued();
    EXPECT_THAT(target.events, ElementsAre("signal 1 [1]"));
    router().unregisterAsEventTarget(signalCookie, true);
    delete cookie;
}

TEST_F(CTellbusEventRouterTest, ACompletionComesThroughWhenItsTargetIsGone) {
    auto gone = std::make_unique<Target>();
    auto* const subscription = new CTellbusSubscription(1, nullptr, nullptr);
    FreeWatch const watch(subscription);
    router().registerAsStatusTarget(gone.get(), cookie, subscription);
    subscription->completionCookie = cookie;
    gone.reset();
    complete(cookie, 0);
    runQueued();
    EXPECT_TRUE(watch.freed());
}

// Requests

TEST_F(CTellbusEventRouterTest, RequestsGoToTheTargetThatRegisteredTheService) {
    bus.calls.clear();
    void* const handle = router().registerAsRequestTarget(&target, "a.b", "/a/b");
    EXPECT_THAT(bus.calls,
                ElementsAre("registerService " + shown(router().busConnection()) + " a.b /a/b 0"));
    EXPECT_EQ(bus.services.at(0).handle, handle);
    bus.request(&context, "checkTag", "{}");
    runQueued();
    EXPECT_THAT(target.events, ElementsAre("request checkTag"));

    bus.answer("unregisterService", 0x40000003U);
    bus.calls.clear();
    EXPECT_EQ(0x40000003U, router().unregisterAsRequestTarget(handle));
    EXPECT_THAT(bus.calls, ElementsAre("unregisterService " + shown(handle)));
}

// Both threads at once

TEST_F(CTellbusEventRouterTest, EventsPostedWhileTheLoopRunsComeInTheirOrder) {
    constexpr int SIGNALS = 2000;
    router().registerAsSignalTarget(&target, cookie, &context);
    std::thread library([&] {
        for (int number = 1; number <= SIGNALS; ++number) {
            CTellbusEventListener::onTellbusSignal("s", std::to_string(number).c_str(), cookie);
        }
        post(7, nullptr);
    });
    router().start();
    library.join();
    ASSERT_EQ(std::size_t{SIGNALS}, target.events.size());
    for (int number = 1; number <= SIGNALS; ++number) {
        EXPECT_EQ("signal 1 " + std::to_string(number),
                  target.events[static_cast<std::size_t>(number) - 1]);
    }
    router().unregisterAsEventTarget(cookie, true);
}
