#include "files/CParserConfig.h"

#include <gtest/gtest.h>

TEST(CParserConfig, StartsEmptyAndWithoutWriting) {
    CParserConfig const parser;
    EXPECT_EQ(parser.TagFile(), "");
    EXPECT_EQ(parser.AmbigTagFile(), "");
    EXPECT_FALSE(parser.WriteToiPod());
    EXPECT_EQ(parser.iPodPath(), "");
}

TEST(CParserConfig, EachPairStoresItsOwnValue) {
    CParserConfig parser;
    parser.TagFile("a");
    parser.AmbigTagFile("b");
    parser.WriteToiPod(true);
    parser.iPodPath("c");
    EXPECT_EQ(parser.TagFile(), "a");
    EXPECT_EQ(parser.AmbigTagFile(), "b");
    EXPECT_TRUE(parser.WriteToiPod());
    EXPECT_EQ(parser.iPodPath(), "c");
}
