#include "OnBus.h"
#include "RawClient.h"

/** The bus goes away and comes back; what the library says about it goes to nobody. */
class BusRestart : public OnBus {
protected:
    BusRestart() { testing::internal::CaptureStderr(); }
    ~BusRestart() override { testing::internal::GetCapturedStderr(); }

    /** Calls until the service answers; the bus may be away meanwhile. */
    Result callUntilAnswered() const {
        auto const deadline = std::chrono::steady_clock::now() + PATIENCE;
        Result result{TELLBUS_E_TIMEOUT, std::nullopt, {}};
        while (TELLBUS_FAILED(result.status) && std::chrono::steady_clock::now() < deadline) {
            Inbox<Result> answers;
            if (invoke(answers, "any", "again", 1000) == TELLBUS_OK) {
                result = answers.next();
            }
            std::this_thread::yield();
        }
        return result;
    }

    void awaitBack(void* connection) const {
        unsigned int owned = 0;
        while (TELLBUS_FAILED(TELLBUS_nameHasOwner(connection, NAME, &owned))) {
            std::this_thread::yield();
        }
    }

    /** Waits until the library has seen the bus go. */
    void awaitAway(void* connection) const {
        unsigned int owned = 0;
        while (TELLBUS_nameHasOwner(connection, NAME, &owned) != TELLBUS_E_DISCONNECTED) {
            std::this_thread::yield();
        }
    }
};

TEST_F(BusRestart, FailsWhatWaitsOnceEach) {
    serve(ignore);
    for (int index = 0; index < 10; ++index) {
        ASSERT_EQ(invoke(results, "any", "{}"), TELLBUS_OK);
    }
    bus.stop();
    for (int index = 0; index < 10; ++index) {
        EXPECT_THAT(results.next(), Failed(TELLBUS_E_DISCONNECTED));
    }
    bus.start();
    awaitBack(client);
    EXPECT_EQ(results.arrived(), 10U);
}

TEST_F(BusRestart, HandsOverWhatHadArrivedBeforeItFailsWhatWaits) {
    RawClient owner(bus.address());
    ASSERT_TRUE(owner.own(NAME));
    Inbox<Signal> signals;
    hear(signals, "any");
    constexpr int SIGNALS = 100;
    {
        HeldThread const held(client);
        for (int index = 0; index < SIGNALS; ++index) {
            owner.send(RawClient::signal(PATH, NAME, "any"));
        }
        owner.call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetId");
        bus.pause();
        // More than the socket takes, so that there is something to write when the bus goes.
        std::string const large(8 * PrivateBus::MEBIBYTE, 'x');
        ASSERT_EQ(invoke(results, "any", large.c_str()), TELLBUS_OK);
        bus.stop();
    }
    EXPECT_THAT(results.next(), Failed(TELLBUS_E_DISCONNECTED));
    EXPECT_EQ(signals.arrived(), static_cast<std::size_t>(SIGNALS));
}

TEST_F(BusRestart, FailsSendsWhileTheBusIsAway) {
    void* const service = serve(requestInto, &requests);
    invoke(results, "any", "{}");
    void* const context = requests.next().context;
    bus.stop();
    awaitAway(server);
    awaitAway(client);
    results.next();
    void* handle = nullptr;
    EXPECT_EQ(TELLBUS_emit(service, "any", "{}"), TELLBUS_E_DISCONNECTED);
    EXPECT_EQ(invoke(results, "any", "{}"), TELLBUS_E_DISCONNECTED);
    EXPECT_EQ(TELLBUS_returnResult(context, "{}"), TELLBUS_E_DISCONNECTED);
    EXPECT_EQ(TELLBUS_registerService(server, "com.example.New", PATH, 0, echo, nullptr, &handle),
              TELLBUS_E_DISCONNECTED);
    EXPECT_EQ(results.arrived(), 1U);
    TELLBUS_freeReqContext(context);
}

TEST_F(BusRestart, BringsTheServiceBackUnderItsHandle) {
    Inbox<Signal> signals;
    void* const service = serve(echo);
    subscribe(signals, "localStatus");
    bus.restart();
    EXPECT_THAT(callUntilAnswered(), Succeeded("again"));
    EXPECT_EQ(TELLBUS_emit(service, "localStatus", "on the new bus"), TELLBUS_OK);
    EXPECT_EQ(signals.next().data, "on the new bus");
}

TEST_F(BusRestart, BringsBackWhatWasSubscribedWhileTheBusWasAway) {
    Inbox<Signal> signals;
    void* const service = serve(echo);
    bus.stop();
    awaitAway(client);
    subscribe(signals, "localStatus");
    bus.start();
    EXPECT_THAT(callUntilAnswered(), Succeeded("again"));
    EXPECT_EQ(TELLBUS_emit(service, "localStatus", "heard"), TELLBUS_OK);
    EXPECT_EQ(signals.next().data, "heard");
}

TEST_F(BusRestart, DoesNotBringBackWhatWasGivenUpMeanwhile) {
    Inbox<Signal> signals;
    Inbox<TELLBUS_tStatus> done;
    void* const service = serve(echo);
    void* const other = serve(echo, nullptr, "com.example.one.Other", "/other");
    void* const handle = subscribe(signals, "localStatus");
    bus.stop();
    awaitAway(client);
    awaitAway(server);
    EXPECT_EQ(TELLBUS_asyncUnsubscribe(handle, statusInto, &done), TELLBUS_OK);
    EXPECT_EQ(done.next(), TELLBUS_OK);
    EXPECT_EQ(TELLBUS_unregisterService(other), TELLBUS_OK);
    bus.start();
    EXPECT_THAT(callUntilAnswered(), Succeeded("again"));
    EXPECT_EQ(TELLBUS_emit(service, "localStatus", "to nobody"), TELLBUS_OK);
    EXPECT_FALSE(hasOwner("com.example.one.Other"));
    settle(client);
    EXPECT_EQ(signals.arrived(), 0U);
}

TEST_F(BusRestart, TellsThatTheOwnerWentAndCameBack) {
    Inbox<OwnerChange> changes;
    void* handle = nullptr;
    serve(echo);
    TELLBUS_subscribeOwnerChanged(client, NAME, ownerInto, &changes, &handle);
    settle(client);
    bus.restart();
    EXPECT_EQ(changes.next().now, "");
    EXPECT_EQ(changes.next().now.front(), ':');
    EXPECT_THAT(callUntilAnswered(), Succeeded("again"));
    settle(client);
    EXPECT_EQ(changes.arrived(), 2U);
    TELLBUS_closeConnection(client);
}

TEST_F(BusRestart, SendsNoAnswerOfTheOldBusToTheNewOne) {
    serve(requestInto, &requests);
    invoke(results, "any", "{}");
    void* const context = requests.next().context;
    bus.stop();
    awaitAway(server);
    bus.start();
    awaitBack(server);
    EXPECT_EQ(TELLBUS_returnResult(context, "{}"), TELLBUS_E_DISCONNECTED);
    TELLBUS_freeReqContext(context);
}

TEST_F(BusRestart, QueuesForANameThatAnotherProcessTookMeanwhile) {
    serve(echo);
    bus.stop();
    // The other process must be first, so the new bus comes to the old address only when it is.
    PrivateBus other;
    RawClient raw(other.address());
    ASSERT_TRUE(raw.own(NAME));
    bus.folder().remove("bus");
    std::filesystem::create_symlink(other.folder().path("bus"), bus.folder().path("bus"));
    awaitBack(server);
    raw.disown(NAME);
    EXPECT_THAT(callUntilAnswered(), Succeeded("again"));
}

TEST_F(BusRestart, LeavesNothingOfAConnectionThatClosesMeanwhile) {
    serve(echo);
    bus.stop();
    awaitAway(server);
    EXPECT_EQ(TELLBUS_closeConnection(server), TELLBUS_OK);
    bus.start();
    awaitBack(client);
    EXPECT_FALSE(hasOwner());
}

TEST_F(BusRestart, TellsTheOwnerThatIsThereToWhoeverSubscribedWhileTheBusWasAway) {
    bus.stop();
    awaitAway(client);
    Inbox<OwnerChange> changes;
    void* handle = nullptr;
    ASSERT_EQ(TELLBUS_subscribeOwnerChanged(client, NAME, ownerInto, &changes, &handle),
              TELLBUS_OK);
    // The name has its owner before the client comes.
    PrivateBus const other;
    RawClient owner(other.address());
    ASSERT_TRUE(owner.own(NAME));
    ASSERT_EQ(rename(other.folder().path("bus").c_str(), bus.folder().path("bus").c_str()), 0);
    OwnerChange const came = changes.next();
    EXPECT_EQ(came.before, "");
    EXPECT_EQ(came.now, owner.name());
    settle(client);
    EXPECT_EQ(changes.arrived(), 1U);
    TELLBUS_closeConnection(client);
}

TEST_F(BusRestart, KeepsThePlaceInTheQueueForANameThatIsRegisteredAgain) {
    serve(echo);
    bus.stop();
    PrivateBus const other;
    RawClient raw(other.address());
    ASSERT_TRUE(raw.own(NAME));
    ASSERT_EQ(rename(other.folder().path("bus").c_str(), bus.folder().path("bus").c_str()), 0);
    awaitBack(server);
    void* handle = nullptr;
    EXPECT_EQ(TELLBUS_registerService(server, NAME, "/second", 0, echo, nullptr, &handle),
              TELLBUS_E_NAME_TAKEN);
    raw.disown(NAME);
    EXPECT_THAT(callUntilAnswered(), Succeeded("again"));
}
