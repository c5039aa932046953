#include "platform/StackRoom.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>

namespace {

constexpr std::size_t STACK_SIZE = 4194304;

std::size_t roomBelow(int depth) {
    char volatile frame[1024];
    frame[0] = 0;
    return depth == 0 ? stackRoom() : roomBelow(depth - 1) + static_cast<std::size_t>(frame[0]);
}

struct Rooms {
    std::size_t here;
    std::size_t deep;
};

void* measure(void* rooms) {
    *static_cast<Rooms*>(rooms) = {stackRoom(), roomBelow(100)};
    return nullptr;
}

TEST(StackRoom, IsWhatTheThreadHasLeft) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    void* const stack = mmap(nullptr, STACK_SIZE, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    ASSERT_NE(MAP_FAILED, stack);
    ASSERT_EQ(0, pthread_attr_setstack(&attributes, stack, STACK_SIZE));
    Rooms rooms{};
    pthread_t thread{};
    ASSERT_EQ(0, pthread_create(&thread, &attributes, measure, &rooms));
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    munmap(stack, STACK_SIZE);

    EXPECT_LT(rooms.here, STACK_SIZE);
    EXPECT_GT(rooms.here, STACK_SIZE / 2);
    EXPECT_LT(rooms.deep, rooms.here - 102400);
}

} // namespace
