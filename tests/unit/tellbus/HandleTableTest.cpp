#include "tellbus/HandleTable.h"

#include <gtest/gtest.h>

using tellbus::HandleTable;

TEST(HandleTable, FindsWhatItsHandleStandsFor) {
    HandleTable<int> table;
    void* const one = table.add(std::make_shared<int>(1));
    void* const two = table.add(std::make_shared<int>(2));
    EXPECT_EQ(*table.find(one), 1);
    EXPECT_EQ(*table.find(two), 2);
}

TEST(HandleTable, FindsNothingForNullOrForAHandleOfAnotherKind) {
    HandleTable<int> table;
    HandleTable<int> other;
    void* const handle = other.add(std::make_shared<int>(1));
    EXPECT_EQ(table.find(nullptr), nullptr);
    EXPECT_EQ(table.find(handle), nullptr);
    EXPECT_EQ(table.find(HandleTable<int>::reserve()), nullptr);
}

TEST(HandleTable, GivesAnObjectToOneTakerOnly) {
    HandleTable<int> table;
    void* const handle = table.add(std::make_shared<int>(1));
    EXPECT_EQ(*table.take(handle), 1);
    EXPECT_EQ(table.take(handle), nullptr);
    EXPECT_EQ(table.find(handle), nullptr);
}

TEST(HandleTable, MovesAnObjectToAnotherTableUnderItsHandle) {
    HandleTable<int> table;
    HandleTable<int> other;
    void* const handle = table.add(std::make_shared<int>(1));
    EXPECT_EQ(*table.move(handle, other), 1);
    EXPECT_EQ(table.move(handle, other), nullptr);
    EXPECT_EQ(table.find(handle), nullptr);
    EXPECT_EQ(*other.find(handle), 1);
}

TEST(HandleTable, NeverGivesTheSameHandleTwice) {
    HandleTable<int> table;
    void* const before = table.add(std::make_shared<int>(1));
    table.take(before);
    EXPECT_NE(table.add(std::make_shared<int>(1)), before);
}

TEST(HandleTable, TakesOutWhatThePredicateHoldsFor) {
    HandleTable<int> table;
    void* const odd = table.add(std::make_shared<int>(1));
    void* const even = table.add(std::make_shared<int>(2));
    EXPECT_EQ(table.takeIf([](int value) { return value % 2 == 0; }).size(), 1U);
    EXPECT_NE(table.find(odd), nullptr);
    EXPECT_EQ(table.find(even), nullptr);
    EXPECT_EQ(table.all().size(), 1U);
    EXPECT_EQ(table.takeAll().size(), 1U);
    EXPECT_TRUE(table.all().empty());
}
