#include "OnBus.h"
#include "RawClient.h"

#include <atomic>
#include <vector>

using ::testing::ElementsAre;

namespace {

/** What callbacks share of which the first ends its connection, in one way or the other. */
struct Ending {
    std::function<void()> end;
    std::atomic<bool> begun{false};
    std::atomic<bool> over{false};
    std::atomic<int> late{0};
    Inbox<TELLBUS_tStatus> told;

    void called(TELLBUS_tStatus status) {
        late += over ? 1 : 0;
        if (!begun.exchange(true)) {
            end();
            over = true;
        }
        told.put(status);
    }
};

void resultEnds(TELLBUS_tCallbackStatus const* status, char const* /*text*/, void* ending) {
    static_cast<Ending*>(ending)->called(status->status);
}
void doneEnds(TELLBUS_tCallbackStatus const* status, void* ending) {
    static_cast<Ending*>(ending)->called(status->status);
}
void signalEnds(char const* /*name*/, char const* /*data*/, void* ending) {
    static_cast<Ending*>(ending)->called(TELLBUS_OK);
}
void ownerEnds(char const* /*name*/, char const* /*before*/, char const* /*now*/, void* ending) {
    static_cast<Ending*>(ending)->called(TELLBUS_OK);
}

} // namespace

/** The parameter: whether the callback ends the library, or closes its connection only. */
class CloseInCallback : public OnBus, public ::testing::WithParamInterface<bool> {
protected:
    CloseInCallback() {
        ending.end = [this] {
            if (GetParam()) {
                TELLBUS_shutdown();
            } else {
                EXPECT_EQ(TELLBUS_closeConnection(client), TELLBUS_OK);
            }
        };
    }
    ~CloseInCallback() override { TELLBUS_shutdown(); }

    TELLBUS_tStatus invokeEnding(char const* name, unsigned int timeout) {
        return TELLBUS_asyncInvoke(client, name, PATH, "any", "{}", false, timeout, resultEnds,
                                   nullptr, &ending);
    }

    /** Waits until the thread that the callbacks run on has gone on, or has ended. */
    void awaitRest() {
        if (!GetParam()) {
            settle(server);
            return;
        }
        while (libraryThread()) {
            std::this_thread::yield();
        }
    }

    Ending ending;
};

INSTANTIATE_TEST_SUITE_P(Ways, CloseInCallback, ::testing::Bool(), [](auto const& way) {
    return way.param ? "Shutdown" : "CloseConnection";
});

TEST_P(CloseInCallback, OfASignalLetsNoOtherSubscriptionHearIt) {
    for (int index = 0; index < 3; ++index) {
        void* handle = nullptr;
        ASSERT_EQ(TELLBUS_subscribe(client, PATH, "any", signalEnds, &ending, &handle), TELLBUS_OK);
    }
    settle(client);
    TELLBUS_emit(serve(ignore), "any", "{}");
    ending.told.next();
    awaitRest();
    EXPECT_EQ(ending.told.arrived(), 1U);
}

TEST_P(CloseInCallback, OfAnOwnerChangeLetsNoOtherSubscriptionHearIt) {
    for (int index = 0; index < 3; ++index) {
        void* handle = nullptr;
        ASSERT_EQ(TELLBUS_subscribeOwnerChanged(client, NAME, ownerEnds, &ending, &handle),
                  TELLBUS_OK);
    }
    settle(client);
    RawClient owner(bus.address());
    ASSERT_TRUE(owner.own(NAME));
    ending.told.next();
    awaitRest();
    EXPECT_EQ(ending.told.arrived(), 1U);
}

TEST_P(CloseInCallback, OfACallThatTimedOutFailsTheOthersBeforeItReturns) {
    RawClient silent(bus.address());
    ASSERT_TRUE(silent.own(NAME));
    {
        HeldThread const held(client);
        for (int index = 0; index < 3; ++index) {
            ASSERT_EQ(invokeEnding(NAME, 1), TELLBUS_OK);
        }
        auto const passed = std::chrono::steady_clock::now() + std::chrono::milliseconds(2);
        while (std::chrono::steady_clock::now() < passed) {
            std::this_thread::yield();
        }
    }
    std::vector<TELLBUS_tStatus> const statuses{ending.told.next(), ending.told.next(),
                                                ending.told.next()};
    EXPECT_THAT(statuses, ElementsAre(TELLBUS_E_CLOSED, TELLBUS_E_CLOSED, TELLBUS_E_TIMEOUT));
    EXPECT_EQ(ending.late, 0);
}

TEST_P(CloseInCallback, OfACallThatLostItsBusFailsTheOthersBeforeItReturns) {
    RawClient silent(bus.address());
    ASSERT_TRUE(silent.own(NAME));
    for (int index = 0; index < 3; ++index) {
        ASSERT_EQ(invokeEnding(NAME, 0), TELLBUS_OK);
    }
    settle(client);
    testing::internal::CaptureStderr();
    bus.stop();
    std::vector<TELLBUS_tStatus> const statuses{ending.told.next(), ending.told.next(),
                                                ending.told.next()};
    EXPECT_THAT(statuses, ElementsAre(TELLBUS_E_CLOSED, TELLBUS_E_CLOSED, TELLBUS_E_DISCONNECTED));
    EXPECT_EQ(ending.late, 0);
    testing::internal::GetCapturedStderr();
}

TEST_P(CloseInCallback, TellsAnUnsubscribeOfTheSameCallbackBeforeItReturns) {
    void* handle = nullptr;
    ASSERT_EQ(TELLBUS_subscribe(client, PATH, "any", signalEnds, &ending, &handle), TELLBUS_OK);
    auto const end = ending.end;
    ending.end = [&] {
        EXPECT_EQ(TELLBUS_asyncUnsubscribe(handle, doneEnds, &ending), TELLBUS_OK);
        end();
    };
    ASSERT_EQ(invokeEnding("org.freedesktop.DBus", 0), TELLBUS_OK);
    ending.told.next();
    ending.told.next();
    EXPECT_EQ(ending.late, 0);
}

class ShutdownInCallback : public OnBus {};

TEST_F(ShutdownInCallback, OfAConnectionThatIsBeingClosedFailsItsOtherCallsBeforeItReturns) {
    RawClient silent(bus.address());
    ASSERT_TRUE(silent.own(NAME));
    Ending ending;
    ending.end = TELLBUS_shutdown;
    for (int index = 0; index < 3; ++index) {
        ASSERT_EQ(TELLBUS_asyncInvoke(client, NAME, PATH, "any", "{}", false, 0, resultEnds,
                                      nullptr, &ending),
                  TELLBUS_OK);
    }
    EXPECT_EQ(TELLBUS_closeConnection(client), TELLBUS_OK);
    std::vector<TELLBUS_tStatus> const statuses{ending.told.next(), ending.told.next(),
                                                ending.told.next()};
    EXPECT_THAT(statuses, ElementsAre(TELLBUS_E_CLOSED, TELLBUS_E_CLOSED, TELLBUS_E_CLOSED));
    EXPECT_EQ(ending.late, 0);
}
