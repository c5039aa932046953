#include "tagdata/CTagException.h"

#include "support/Thrown.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
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

namespace {

/** Tells when it is deleted. */
class Watched : public CTagException {
public:
    explicit Watched(bool& deleted) : mDeleted(deleted) {}
    ~Watched() override { mDeleted = true; }

private:
    bool& mDeleted;
};

} // namespace

TEST(CTagException, IsDeletedWhereItsJourneyEnds) {
    bool deleted = false;
    try {
        // By the type of the pointer that handlers know.
        throw static_cast<CTagException*>(std::make_unique<Watched>(deleted).release());
    } catch (...) {
        dropException();
    }
    EXPECT_TRUE(deleted);
}

TEST(CTagException, EveryOtherExceptionCanBeDroppedToo) {
    bool after = false;
    try {
        throw std::runtime_error("of another kind");
    } catch (...) {
        dropException();
        after = true;
    }
    EXPECT_TRUE(after);
}
