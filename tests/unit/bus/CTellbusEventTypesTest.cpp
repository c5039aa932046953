#include "bus/CTellbusEventTypes.h"

#include "FreeWatch.h"
#include "NewText.h"

#include <gtest/gtest.h>
#include <memory>

TEST(CTellbusEventTypes, DefaultsAreNullAndZero) {
    EXPECT_EQ(nullptr, CTellbusEvent().data);
    EXPECT_EQ(nullptr, CTellbusEvent().context);
    EXPECT_EQ(nullptr, CTellbusEventCookie().listener);
    EXPECT_EQ(0, CTellbusEventCookie().eventCode);
    EXPECT_EQ(nullptr, CTellbusEventCookie().context);
    EXPECT_EQ(nullptr, CTellbusRouterCookie().target);
    EXPECT_EQ(nullptr, CTellbusRouterCookie().context);
    EXPECT_EQ(0U, CTellbusRouterCookie().cookieId);
    EXPECT_EQ(0U, CTellbusRouterCookie().targetId);
    EXPECT_EQ(0U, CTellbusSubscription().id);
    EXPECT_EQ(nullptr, CTellbusSubscription().handle);
    EXPECT_EQ(nullptr, CTellbusSubscription().cookie);
    EXPECT_EQ(nullptr, CTellbusResult().text);
    EXPECT_EQ(0U, CTellbusResult().status);
    EXPECT_EQ(nullptr, CTellbusSignal().name);
    EXPECT_EQ(nullptr, CTellbusSignal().data);
    EXPECT_EQ(nullptr, CTellbusNameChange().name);
    EXPECT_EQ(nullptr, CTellbusNameChange().oldOwner);
    EXPECT_EQ(nullptr, CTellbusNameChange().newOwner);
}

TEST(CTellbusEventTypes, ConstructorsStoreTheirArguments) {
    int target = 0;
    int context = 0;
    CTellbusRouterCookie const routerCookie(&target, 7, 9, &context);
    EXPECT_EQ(&target, routerCookie.target);
    EXPECT_EQ(7U, routerCookie.targetId);
    EXPECT_EQ(9U, routerCookie.cookieId);
    EXPECT_EQ(&context, routerCookie.context);

    CTellbusEventCookie eventCookie(nullptr, CTellbusEvent::Signal, &context);
    EXPECT_EQ(3, eventCookie.eventCode);
    EXPECT_EQ(&context, eventCookie.context);

    CTellbusSubscription const subscription(5, &target, &eventCookie);
    EXPECT_EQ(5U, subscription.id);
    EXPECT_EQ(&target, subscription.handle);
    EXPECT_EQ(&eventCookie, subscription.cookie);

    CTellbusEvent const event(&target, &context);
    EXPECT_EQ(&target, event.data);
    EXPECT_EQ(&context, event.context);
}

TEST(CTellbusEventTypes, CodesAreThoseOfThePulses) {
    EXPECT_EQ(1, CTellbusEvent::Request);
    EXPECT_EQ(2, CTellbusEvent::Result);
    EXPECT_EQ(3, CTellbusEvent::Signal);
    EXPECT_EQ(4, CTellbusEvent::Status);
    EXPECT_EQ(5, CTellbusEvent::NameChange);
    EXPECT_EQ(6, CTellbusEvent::Accessory);
    EXPECT_EQ(7, CTellbusEvent::Stop);
}

TEST(CTellbusEventTypes, AResultOwnsItsText) {
    auto result = std::make_unique<CTellbusResult>(newText("{}"), 3);
    FreeWatch const text(result->text);
    EXPECT_STREQ("{}", result->text);
    EXPECT_EQ(3U, result->status);
    result.reset();
    EXPECT_TRUE(text.freed());
}

TEST(CTellbusEventTypes, ASignalOwnsItsNameAndItsData) {
    auto signal = std::make_unique<CTellbusSignal>(newText("deviceState"), newText("[1]"));
    FreeWatch const name(signal->name);
    FreeWatch const data(signal->data);
    EXPECT_STREQ("deviceState", signal->name);
    EXPECT_STREQ("[1]", signal->data);
    signal.reset();
    EXPECT_TRUE(name.freed());
    EXPECT_TRUE(data.freed());
}

TEST(CTellbusEventTypes, ANameChangeOwnsItsThreeTexts) {
    auto change =
        std::make_unique<CTellbusNameChange>(newText("a.b"), newText(":1.1"), newText(":1.2"));
    FreeWatch const name(change->name);
    FreeWatch const oldOwner(change->oldOwner);
    FreeWatch const newOwner(change->newOwner);
    EXPECT_STREQ("a.b", change->name);
    EXPECT_STREQ(":1.1", change->oldOwner);
    EXPECT_STREQ(":1.2", change->newOwner);
    change.reset();
    EXPECT_TRUE(name.freed());
    EXPECT_TRUE(oldOwner.freed());
    EXPECT_TRUE(newOwner.freed());
}

TEST(CTellbusEventTypes, AnEventACookieAndASubscriptionFreeNothing) {
    auto data = std::make_unique<int>(1);
    auto cookie = std::make_unique<CTellbusEventCookie>(nullptr, 2, data.get());
    FreeWatch const dataWatch(data.get());
    FreeWatch const cookieWatch(cookie.get());
    delete new CTellbusEvent(data.get(), data.get());
    delete new CTellbusEventCookie(nullptr, 2, data.get());
    delete new CTellbusRouterCookie(data.get(), 1, 1, data.get());
    delete new CTellbusSubscription(1, data.get(), cookie.get());
    EXPECT_FALSE(dataWatch.freed());
    EXPECT_FALSE(cookieWatch.freed());
}
