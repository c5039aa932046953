#include "tellbus/PendingCalls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;
using namespace tellbus;

class PendingCallsTest : public ::testing::Test {
protected:
    void add(dbus_uint32_t serial, TimePoint deadline, std::string const& to = "com.example") {
        pending.add(
            serial, [this, serial](TELLBUS_tStatus, DBusMessage*) { called.push_back(serial); },
            deadline, to);
    }
    /** Calls each handler that take() gives, until it gives none. */
    template <class Take>
    void callEach(Take take) {
        while (ReplyHandler const handler = take()) {
            handler(TELLBUS_OK, nullptr);
        }
    }
    TimePoint const now = Clock::now();
    PendingCalls pending;
    std::vector<dbus_uint32_t> called;
};

TEST_F(PendingCallsTest, GiveTheHandlerOfACallOnce) {
    add(7, now);
    pending.take(7)(TELLBUS_OK, nullptr);
    EXPECT_THAT(called, ElementsAre(7U));
    EXPECT_FALSE(pending.take(7));
    EXPECT_FALSE(pending.take(8));
    EXPECT_EQ(pending.earliest(), std::nullopt);
}

TEST_F(PendingCallsTest, ExpireByDeadlineEarliestFirst) {
    add(1, now + std::chrono::seconds(3));
    add(2, now + std::chrono::seconds(1));
    add(3, now + std::chrono::seconds(2));
    EXPECT_EQ(pending.earliest(), now + std::chrono::seconds(1));
    callEach([&] { return pending.takeExpired(now + std::chrono::seconds(2)); });
    EXPECT_THAT(called, ElementsAre(2U, 3U));
    EXPECT_EQ(pending.earliest(), now + std::chrono::seconds(3));
}

TEST_F(PendingCallsTest, NeverExpireWithoutADeadline) {
    add(1, TimePoint::max());
    EXPECT_EQ(pending.earliest(), std::nullopt);
    EXPECT_FALSE(pending.takeExpired(TimePoint::max()));
}

TEST_F(PendingCallsTest, AreGivenInTheOrderOfTheirCalls) {
    add(3, now);
    add(1, TimePoint::max());
    add(2, now);
    callEach([&] { return pending.takeFirst(); });
    EXPECT_THAT(called, ElementsAre(1U, 2U, 3U));
    EXPECT_EQ(pending.earliest(), std::nullopt);
}

TEST_F(PendingCallsTest, HaveTheirAnswersFromTheConnectionThatWasCalledOrFromTheBus) {
    add(1, now, ":1.5");
    add(2, now, DBUS_SERVICE_DBUS);
    EXPECT_TRUE(pending.isForged(1, ":1.6"));
    EXPECT_TRUE(pending.isForged(2, ":1.6"));
    EXPECT_FALSE(pending.isForged(1, ":1.5"));
    EXPECT_FALSE(pending.isForged(1, DBUS_SERVICE_DBUS));
    EXPECT_FALSE(pending.isForged(2, DBUS_SERVICE_DBUS));
}

TEST_F(PendingCallsTest, HaveTheirAnswersFromAnybodyForANameThatMayHaveChangedHands) {
    add(1, now, "com.example.one.Echo");
    EXPECT_FALSE(pending.isForged(1, ":1.6"));
}

TEST_F(PendingCallsTest, ThatNobodyMadeHaveNoForgedAnswer) {
    EXPECT_FALSE(pending.isForged(1, ":1.6"));
}
