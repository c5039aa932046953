#include "tagdata/CLinkedList.h"

#include "support/Thrown.h"
#include "tagdata/CAmbigTag.h"
#include "tagdata/CStack.h"
#include "tagdata/CTag.h"

#include <gmock/gmock.h>

#include <array>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/** Three elements and a list that does not own them, as no list does. */
class CLinkedListOfThree : public testing::Test {
protected:
    CLinkedListOfThree() {
        for (unsigned int& element : mElements) {
            mList.AddRear(&element);
        }
    }

    std::vector<unsigned int> values() const {
        std::vector<unsigned int> found;
        for (unsigned int const* const element : mList) {
            found.push_back(*element);
        }
        return found;
    }

    std::array<unsigned int, 3> mElements = {1, 2, 3};
    CLinkedList<unsigned int> mList;
};

void expectFailure(std::unique_ptr<CTagException> const& thrown, int code,
                   std::string const& message) {
    ASSERT_TRUE(thrown);
    EXPECT_EQ(thrown->ExCode(), code);
    EXPECT_EQ(thrown->Message(), message);
    EXPECT_EQ(thrown->SystemError, -1);
}

} // namespace

TEST(CLinkedList, ANewListIsAllZero) {
    CLinkedList<CTag> list;

    EXPECT_EQ(list.Front, nullptr);
    EXPECT_EQ(list.Rear, nullptr);
    EXPECT_EQ(list.Count(), 0U);
    EXPECT_EQ(list.ItemCount, 0U);
    EXPECT_TRUE(list.begin() == list.end());
}

TEST_F(CLinkedListOfThree, CountsAndPeeksInTheOrderOfArrival) {
    EXPECT_EQ(mList.Count(), 3U);
    EXPECT_EQ(mList.PeekAt(0), &mElements[0]);
    EXPECT_EQ(mList.PeekAt(1), &mElements[1]);
    EXPECT_EQ(mList.PeekAt(2), &mElements[2]);
}

TEST_F(CLinkedListOfThree, IteratesInTheOrderOfArrival) {
    EXPECT_THAT(values(), ElementsAre(1, 2, 3));
}

TEST_F(CLinkedListOfThree, CountsOnlyAfterAChange) {
    EXPECT_EQ(mList.ItemCount, 0U);
    mList.Count();
    EXPECT_EQ(mList.ItemCount, 3U);

    unsigned int fourth = 4;
    mList.AddRear(&fourth);
    EXPECT_EQ(mList.ItemCount, 0U);
    EXPECT_EQ(mList.Count(), 4U);
}

TEST(CLinkedList, AddFrontPutsTheLastOneInFront) {
    unsigned int a = 1;
    unsigned int b = 2;
    unsigned int c = 3;
    CLinkedList<unsigned int> list;
    list.AddFront(&a);
    list.AddFront(&b);
    list.AddFront(&c);

    EXPECT_EQ(list.PeekAt(0), &c);
    EXPECT_EQ(list.PeekAt(2), &a);
    EXPECT_EQ(list.RemoveRear(), &a);
    EXPECT_EQ(list.RemoveRear(), &b);
    EXPECT_EQ(list.Count(), 1U);
}

TEST_F(CLinkedListOfThree, TheLinksLeadBothWays) {
    ASSERT_EQ(mList.Front->Prev, nullptr);
    ASSERT_EQ(mList.Rear->Next, nullptr);
    EXPECT_EQ(mList.Front->Next->Prev, mList.Front);
    EXPECT_EQ(mList.Rear->Prev->Next, mList.Rear);
    EXPECT_EQ(mList.Front->Next, mList.Rear->Prev);
}

TEST_F(CLinkedListOfThree, PeekAtBeyondTheCountIsRefused) {
    expectFailure(thrownBy([&] { mList.PeekAt(4); }), CTagException::ExBadIndex,
                  "Index greater than list count");
    EXPECT_THAT(values(), ElementsAre(1, 2, 3));
}

TEST(CLinkedList, PeekAtTheCountPassesTheBoundTest) {
    unsigned int element = 1;
    CLinkedList<unsigned int> list;
    EXPECT_EQ(list.PeekAt(0), nullptr);

    list.AddRear(&element);
    EXPECT_EQ(list.PeekAt(1), nullptr);
}

TEST(CLinkedList, PeekAtOnAnEmptyListIsRefusedFromIndex1On) {
    CLinkedList<unsigned int> list;
    expectFailure(thrownBy([&] { list.PeekAt(1); }), CTagException::ExBadIndex,
                  "Index greater than list count");
}

TEST(CLinkedList, RemoveFrontOnAnEmptyListIsRefused) {
    CLinkedList<CTag> list;
    expectFailure(thrownBy([&] { list.RemoveFront(); }), CTagException::ExEmptyList,
                  "RemoveFront invalid operation on empty list");
}

TEST(CLinkedList, RemoveRearOnAnEmptyListIsRefusedInItsOwnWords) {
    CLinkedList<CAmbigTag> list;
    expectFailure(thrownBy([&] { list.RemoveRear(); }), CTagException::ExEmptyList,
                  "RemoveRear invalid operation on empty list");
}

TEST(CLinkedList, RemovingTheOnlyElementLeavesBothEndsNull) {
    unsigned int element = 1;
    CLinkedList<unsigned int> list;

    list.AddRear(&element);
    EXPECT_EQ(list.RemoveFront(), &element);
    EXPECT_EQ(list.Front, nullptr);
    EXPECT_EQ(list.Rear, nullptr);

    list.AddRear(&element);
    EXPECT_EQ(list.RemoveRear(), &element);
    EXPECT_EQ(list.Front, nullptr);
    EXPECT_EQ(list.Rear, nullptr);
    EXPECT_EQ(list.Count(), 0U);
}

TEST_F(CLinkedListOfThree, RemoveFrontTakesTheFirstAndCountsAnew) {
    mList.Count();

    EXPECT_EQ(mList.RemoveFront(), &mElements[0]);
    EXPECT_EQ(mList.ItemCount, 0U);
    EXPECT_EQ(mList.Count(), 2U);
    EXPECT_THAT(values(), ElementsAre(2, 3));
}

TEST_F(CLinkedListOfThree, RemoveRearTakesTheLastAndCountsAnew) {
    mList.Count();

    EXPECT_EQ(mList.RemoveRear(), &mElements[2]);
    EXPECT_EQ(mList.Count(), 2U);
    EXPECT_THAT(values(), ElementsAre(1, 2));
}

TEST_F(CLinkedListOfThree, GrowsOnAfterRemovalsAtBothEnds) {
    mList.RemoveFront();
    mList.RemoveRear();
    mList.AddRear(&mElements[0]);
    mList.AddFront(&mElements[2]);

    EXPECT_THAT(values(), ElementsAre(3, 2, 1));
    EXPECT_EQ(mList.RemoveRear(), &mElements[0]);
    EXPECT_EQ(mList.RemoveRear(), &mElements[1]);
    EXPECT_EQ(mList.RemoveRear(), &mElements[2]);
    EXPECT_THAT(values(), IsEmpty());
}

TEST_F(CLinkedListOfThree, ItsElementsOutliveIt) {
    {
        CLinkedList<unsigned int> other;
        other.AddRear(&mElements[1]);
    }
    EXPECT_EQ(mElements[1], 2U);
}

TEST(CLinkedList, AnOwnerDeletesTheElementsAndTheList) {
    ListOwner<CTag> const tags = makeList<CTag>();
    tags->AddRear(std::make_unique<CTag>().release());
    tags->AddRear(std::make_unique<CAmbigTag>().release());

    // That both are gone at the end is the leak checker's to see.
    EXPECT_EQ(tags->Count(), 2U);
}

TEST(CStack, GivesTheLastOnePushedFirst) {
    CTag first;
    CTag second;
    CStack<CTag> stack;
    stack.Push(&first);
    stack.Push(&second);

    EXPECT_EQ(stack.List()->PeekAt(0), &second);
    EXPECT_EQ(stack.Pop(), &second);
    EXPECT_EQ(stack.List()->Count(), 1U);
}

TEST(CStack, LeavesTheElementsToTheirUser) {
    struct Watched final : CTag {
        explicit Watched(bool& flag) : deleted(flag) {}
        ~Watched() override { deleted = true; }
        bool& deleted;
    };
    bool deleted = false;
    auto const tag = std::make_unique<Watched>(deleted);
    {
        CStack<CTag> stack;
        stack.Push(tag.get());
    }
    EXPECT_FALSE(deleted);
}

TEST(CStack, PopOnAnEmptyStackIsRefused) {
    CStack<CAmbigTag> stack;
    EXPECT_TRUE(thrownBy([&] { stack.Pop(); }));
}
