#include "tagdata/CTagException.h"

#include "support/Thrown.h"

#include <gtest/gtest.h>

#include <type_traits>

static_assert(std::has_virtual_destructor_v<CTagException>);

TEST(CTagException, MadeByDefaultIsUnhandledWithoutAMessage) {
    CTagException const exception;

    EXPECT_EQ(exception.ExCode(), CTagException::ExUnhandled);
    EXPECT_EQ(exception.Message(), "");
}

TEST(CTagException, KeepsCodeMessageAndSystemError) {
    CTagException const exception(CTagException::ExIpodWrite, "28 (No space left): ret:0", 28);

    EXPECT_EQ(exception.ExCode(), CTagException::ExIpodWrite);
    EXPECT_EQ(exception.Message(), "28 (No space left): ret:0");
    EXPECT_EQ(exception.SystemError, 28);
}

TEST(CTagException, TheSettersReplaceCodeAndMessage) {
    CTagException exception;
    exception.ExCode(CTagException::ExEmptyList);
    exception.Message("replaced");

    EXPECT_EQ(exception.ExCode(), CTagException::ExEmptyList);
    EXPECT_EQ(exception.Message(), "replaced");
}

TEST(CTagException, TheCodesKeepTheirNumbers) {
    EXPECT_EQ(CTagException::ExUnhandled, 1);
    EXPECT_EQ(CTagException::ExXmlFile, 2);
    EXPECT_EQ(CTagException::ExConversion, 3);
    EXPECT_EQ(CTagException::ExEmptyList, 4);
    EXPECT_EQ(CTagException::ExBadIndex, 5);
    EXPECT_EQ(CTagException::ExIpodWrite, 7);
}

TEST(CTagException, TravelsAsAPointerWithoutASystemErrorByDefault) {
    auto const thrown =
        thrownBy([] { throwTagException(CTagException::ExBadIndex, "Malformed Tag Sequence"); });

    ASSERT_TRUE(thrown);
    EXPECT_EQ(thrown->ExCode(), CTagException::ExBadIndex);
    EXPECT_EQ(thrown->Message(), "Malformed Tag Sequence");
    EXPECT_EQ(thrown->SystemError, -1);
}
