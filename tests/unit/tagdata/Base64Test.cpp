#include "tagdata/Base64.h"

#include <gtest/gtest.h>

#include <type_traits>

static_assert(std::has_virtual_destructor_v<Base64>);

namespace {

std::string encode(std::string const& bytes) {
    return Base64().encode(reinterpret_cast<unsigned char const*>(bytes.data()),
                           static_cast<unsigned int>(bytes.size()));
}

} // namespace

struct Coding {
    char const* bytes;
    char const* text;
};

class Base64Table : public testing::TestWithParam<Coding> {};

TEST_P(Base64Table, EncodesAndDecodes) {
    EXPECT_EQ(encode(GetParam().bytes), GetParam().text);
    EXPECT_EQ(Base64().decode(GetParam().text), GetParam().bytes);
}

INSTANTIATE_TEST_SUITE_P(Groups, Base64Table,
                         testing::Values(Coding{"", ""}, Coding{"M", "TQ=="}, Coding{"Ma", "TWE="},
                                         Coding{"Man", "TWFu"}, Coding{"Mank", "TWFuaw=="},
                                         Coding{"\xFB\xFF\xFE", "+//+"}));

TEST(Base64, EveryByteComesBack) {
    std::string bytes;
    for (int value = 0; value < 256; ++value) {
        bytes += static_cast<char>(value);
    }
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
        EXPECT_EQ(Base64().decode(encode(bytes.substr(0, size))), bytes.substr(0, size));
    }
}

TEST(Base64, ALongInputComesOutAsOneLine) {
    std::string const text = encode(std::string(3000, '\0'));
    EXPECT_EQ(text, std::string(4000, 'A'));
}

TEST(Base64, NothingAtAllEncodesToNothing) {
    EXPECT_EQ(Base64().encode(nullptr, 0), "");
}

class Base64Stops : public testing::TestWithParam<Coding> {};

TEST_P(Base64Stops, DecodingEndsAtTheFirstCharacterOutsideTheAlphabet) {
    EXPECT_EQ(Base64().decode(GetParam().text), GetParam().bytes);
}

INSTANTIATE_TEST_SUITE_P(Texts, Base64Stops,
                         testing::Values(Coding{"Man", "TWFu=TWFu"}, Coding{"M", "TW-Fu"},
                                         Coding{"M", "TQ"}, Coding{"Ma", "TWE"}, Coding{"", "T"},
                                         Coding{"Man", "TWFuT"}, Coding{"Man", "TWFu\nTWFu"},
                                         Coding{"", "=TWFu"}, Coding{"", "_"}));
