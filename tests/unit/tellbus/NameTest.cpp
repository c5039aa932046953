#include "OnBus.h"
#include "RawClient.h"

class NameOnBus : public OnBus {
protected:
    void* watch(Inbox<OwnerChange>& into, char const* name = NAME) const {
        void* handle = nullptr;
        EXPECT_EQ(TELLBUS_subscribeOwnerChanged(client, name, ownerInto, &into, &handle),
                  TELLBUS_OK);
        return handle;
    }
    Inbox<OwnerChange> changes;
};

TEST_F(NameOnBus, HasAnOwnerFromRegisteringToUnregistering) {
    EXPECT_FALSE(hasOwner());
    void* const service = serve(echo);
    EXPECT_TRUE(hasOwner());
    TELLBUS_unregisterService(service);
    settle(server);
    EXPECT_FALSE(hasOwner());
}

TEST_F(NameOnBus, TellsItsChangesWithOldAndNewOwner) {
    watch(changes);
    settle(client);
    void* const service = serve(echo);
    OwnerChange const came = changes.next();
    EXPECT_EQ(came.name, NAME);
    EXPECT_EQ(came.before, "");
    EXPECT_EQ(came.now.front(), ':');
    TELLBUS_unregisterService(service);
    OwnerChange const went = changes.next();
    EXPECT_EQ(went.before, came.now);
    EXPECT_EQ(went.now, "");
}

TEST_F(NameOnBus, TellsNothingOfAnOwnerWhoWasThereBefore) {
    serve(echo);
    watch(changes);
    settle(client);
    EXPECT_EQ(changes.arrived(), 0U);
}

TEST_F(NameOnBus, TellsNothingOfOtherNames) {
    watch(changes);
    settle(client);
    serve(echo, nullptr, "com.example.one.Other", "/other");
    serve(echo);
    EXPECT_EQ(changes.next().name, NAME);
}

TEST_F(NameOnBus, TellsTheUniqueNameOfAConnectionToo) {
    auto raw = std::make_unique<RawClient>(bus.address());
    std::string const unique = raw->name();
    watch(changes, unique.c_str());
    settle(client);
    raw.reset();
    OwnerChange const went = changes.next();
    EXPECT_EQ(went.name, unique);
    EXPECT_EQ(went.now, "");
}

TEST_F(NameOnBus, TellsNothingAfterUnsubscribeIsDone) {
    Inbox<TELLBUS_tStatus> done;
    void* const handle = watch(changes);
    EXPECT_EQ(TELLBUS_asyncUnsubscribe(handle, statusInto, &done), TELLBUS_OK);
    EXPECT_EQ(done.next(), TELLBUS_OK);
    serve(echo);
    settle(client);
    EXPECT_EQ(changes.arrived(), 0U);
}

TEST_F(NameOnBus, IsWatchedForSignalsAfterItsOwnSubscriptionEnded) {
    Inbox<TELLBUS_tStatus> done;
    Inbox<Signal> signals;
    hear(signals, "localStatus");
    void* const handle = watch(changes);
    TELLBUS_asyncUnsubscribe(handle, statusInto, &done);
    done.next();
    void* const service = serve(echo);
    TELLBUS_emit(service, "localStatus", "still heard");
    EXPECT_EQ(signals.next().data, "still heard");
}

TEST_F(NameOnBus, IsNotHeardToGoWithTheWholeLibrary) {
    watch(changes);
    settle(client);
    serve(echo);
    EXPECT_EQ(changes.next().name, NAME);
    TELLBUS_shutdown();
    EXPECT_EQ(changes.arrived(), 1U);
}
