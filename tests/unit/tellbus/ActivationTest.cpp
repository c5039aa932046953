#include "OnBus.h"

using ::testing::AnyOf;

/** A bus that starts the service when it is called; the service ends when a test says so. */
class ActivationOnBus : public OnBus {
protected:
    static constexpr int ROUNDS = 100;

    ActivationOnBus() {
        bus.activate(NAME, {SONGLATCH_ACTIVATED_SERVICE, NAME, PATH});
        void* handle = nullptr;
        EXPECT_EQ(TELLBUS_subscribeOwnerChanged(client, NAME, ownerInto, &mOwners, &handle),
                  TELLBUS_OK);
    }

    void end() {
        EXPECT_THAT(call("leave", "bye"), Succeeded("bye"));
        while (!mOwners.next().now.empty()) {
        }
    }

private:
    Inbox<OwnerChange> mOwners;
};

TEST_F(ActivationOnBus, AnswersTheCallThatStartedTheService) {
    for (int round = 0; round < ROUNDS; ++round) {
        std::string const text = std::to_string(round);
        ASSERT_THAT(call("any", text.c_str()), Succeeded(text));
        end();
    }
}

TEST_F(ActivationOnBus, AnswersEveryCallThatTheBusHeldBackMeanwhile) {
    constexpr int CALLS = 20;
    for (int index = 0; index < CALLS; ++index) {
        EXPECT_EQ(invoke(results, "any", std::to_string(index).c_str()), TELLBUS_OK);
    }
    for (int index = 0; index < CALLS; ++index) {
        EXPECT_THAT(results.next(), Succeeded(std::to_string(index)));
    }
}

TEST_F(ActivationOnBus, GivesTheHandleBeforeTheFirstCall) {
    for (int round = 0; round < ROUNDS / 10; ++round) {
        ASSERT_THAT(call("emit", "{}"), Succeeded(std::to_string(TELLBUS_OK)));
        end();
    }
}

TEST_F(ActivationOnBus, LeavesNoCallToAnEndingServiceWithoutItsAnswerOrThatOfTheBus) {
    for (int round = 0; round < ROUNDS; ++round) {
        EXPECT_EQ(invoke(results, "leave", "bye"), TELLBUS_OK);
        EXPECT_EQ(invoke(results, "any", "next"), TELLBUS_OK);
        ASSERT_THAT(results.next(), Succeeded("bye"));
        ASSERT_THAT(results.next(), AnyOf(Succeeded("next"), Failed(TELLBUS_E_NO_REPLY)));
    }
}
