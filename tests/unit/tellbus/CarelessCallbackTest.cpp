#include "OnBus.h"
#include "RawClient.h"

#include <stdexcept>

namespace {

template <class Put>
void putAndThrow(Put put) {
    put();
    throw std::runtime_error("a careless callback");
}

void resultThrows(TELLBUS_tCallbackStatus const* status, char const* text, void* inbox) {
    putAndThrow([&] { resultInto(status, text, inbox); });
}
void signalThrows(char const* name, char const* data, void* inbox) {
    putAndThrow([&] { signalInto(name, data, inbox); });
}
void ownerThrows(char const* name, char const* before, char const* now, void* inbox) {
    putAndThrow([&] { ownerInto(name, before, now, inbox); });
}

} // namespace

/** Callbacks that throw: each does it after the test has heard of it. */
class CarelessCallback : public OnBus {
protected:
    CarelessCallback() { testing::internal::CaptureStderr(); }
    ~CarelessCallback() override { testing::internal::GetCapturedStderr(); }

    void invokeThrice(unsigned int timeout) {
        for (int index = 0; index < 3; ++index) {
            ASSERT_EQ(TELLBUS_asyncInvoke(client, NAME, PATH, "any", "{}", false, timeout,
                                          resultThrows, nullptr, &results),
                      TELLBUS_OK);
        }
    }
};

TEST_F(CarelessCallback, OfACallThatLosesItsBusKeepsNoOtherFromItsCallback) {
    serve(ignore);
    invokeThrice(0);
    bus.stop();
    for (int index = 0; index < 3; ++index) {
        EXPECT_THAT(results.next(), Failed(TELLBUS_E_DISCONNECTED));
    }
}

TEST_F(CarelessCallback, OfACallThatTimesOutKeepsNoOtherFromItsCallback) {
    serve(ignore);
    invokeThrice(1);
    for (int index = 0; index < 3; ++index) {
        EXPECT_THAT(results.next(), Failed(TELLBUS_E_TIMEOUT));
    }
}

TEST_F(CarelessCallback, OfACallKeepsNoOtherFromItsCallbackAtTheClose) {
    serve(ignore);
    invokeThrice(0);
    EXPECT_EQ(TELLBUS_closeConnection(client), TELLBUS_OK);
    EXPECT_EQ(results.arrived(), 3U);
}

TEST_F(CarelessCallback, LeavesNothingBehindThatWasReadWithItsMessage) {
    void* const service = serve(ignore);
    Inbox<Signal> signals;
    void* handle = nullptr;
    ASSERT_EQ(TELLBUS_subscribe(client, PATH, "any", signalThrows, &signals, &handle), TELLBUS_OK);
    settle(client);
    {
        HeldThread const held(client);
        for (int index = 0; index < 3; ++index) {
            TELLBUS_emit(service, "any", "{}");
        }
        RawClient raw(bus.address());
        raw.call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetId");
    }
    EXPECT_TRUE(signals.waitForArrivals(3));
}

TEST_F(CarelessCallback, OfASubscriptionKeepsNothingFromTheNext) {
    Inbox<Signal> signals;
    Inbox<OwnerChange> changes;
    void* handle = nullptr;
    for (int index = 0; index < 2; ++index) {
        TELLBUS_subscribe(client, PATH, "any", signalThrows, &signals, &handle);
        TELLBUS_subscribeOwnerChanged(client, NAME, ownerThrows, &changes, &handle);
    }
    settle(client);
    TELLBUS_emit(serve(ignore), "any", "{}");
    EXPECT_TRUE(changes.waitForArrivals(2));
    EXPECT_TRUE(signals.waitForArrivals(2));
}
