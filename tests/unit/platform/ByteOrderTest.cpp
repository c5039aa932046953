#include "platform/ByteOrder.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

TEST(ByteOrder, LittleEndianNumbersHaveTheirLowestByteFirst) {
    std::uint8_t bytes[6] = {};
    putLE16(bytes, 0x8182);
    putLE32(bytes + 2, 0x91929394);
    std::uint8_t const expected[] = {0x82, 0x81, 0x94, 0x93, 0x92, 0x91};
    EXPECT_TRUE(std::equal(bytes, bytes + 6, expected));
    EXPECT_EQ(0x8182U, getLE16(bytes));
    EXPECT_EQ(0x91929394U, getLE32(bytes + 2));
}

TEST(ByteOrder, BigEndianNumbersHaveTheirHighestByteFirst) {
    std::uint8_t const bytes[] = {0xF1, 0xF2, 0xF3, 0xF4};
    EXPECT_EQ(0xF1F2F3F4U, getBE32(bytes));
}

} // namespace
