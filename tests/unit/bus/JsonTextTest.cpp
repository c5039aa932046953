#include "bus/JsonText.h"

#include "tellbus/tellbus.h"

#include <gtest/gtest.h>
#include <json/writer.h>

namespace {

std::string nested(std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

std::string stringOfSize(std::size_t bytes) {
    return '"' + std::string(bytes - 2, 'x') + '"';
}

class RefusedText : public testing::TestWithParam<std::string> {};

} // namespace

TEST(JsonText, AValidTextIsRead) {
    Json::Value value;
    ASSERT_TRUE(parseJson(R"({"a":[1,true,"x"]})", value));
    EXPECT_EQ(R"({"a":[1,true,"x"]})"
              "\n",
              Json::FastWriter().write(value));
}

TEST(JsonText, CommentsAreReadOverAndNotKept) {
    Json::Value value;
    ASSERT_TRUE(parseJson("// before\n{\"a\":1 /* behind */}", value));
    EXPECT_FALSE(value.hasComment(Json::commentBefore));
    EXPECT_FALSE(value["a"].hasComment(Json::commentAfterOnSameLine));
    EXPECT_EQ(1, value["a"].asInt());
}

TEST_P(RefusedText, GivesFalseAndNullWhateverTheValueHeldBefore) {
    Json::Value value;
    value["before"] = 1;
    bool read = true;
    EXPECT_NO_THROW(read = parseJson(GetParam(), value));
    EXPECT_FALSE(read);
    EXPECT_TRUE(value.isNull());
}

INSTANTIATE_TEST_SUITE_P(JsonText, RefusedText,
                         testing::Values("", " ", "{", R"({"a":1,)", R"({"a")", "[1,2", "tru",
                                         "\"open", "{]", "\xFF\xFE"));

TEST(JsonText, NestingBeyondTheLimitIsAParseThatFailed) {
    Json::Value value;
    EXPECT_TRUE(parseJson(nested(MAX_JSON_DEPTH), value));
    for (std::size_t const depth :
         {std::size_t{MAX_JSON_DEPTH} + 1, std::size_t{100000}, std::size_t{500000}}) {
        value = 1;
        EXPECT_NO_THROW(EXPECT_FALSE(parseJson(nested(depth), value)));
        EXPECT_TRUE(value.isNull());
    }
}

TEST(JsonText, ATextIsReadWhateverItsLength) {
    for (std::size_t const bytes : {std::size_t{4} << 20U, std::size_t{TELLBUS_MAX_TEXT}}) {
        Json::Value value;
        EXPECT_TRUE(parseJson(stringOfSize(bytes), value));
        EXPECT_EQ(bytes - 2, value.asString().size());
    }
}
