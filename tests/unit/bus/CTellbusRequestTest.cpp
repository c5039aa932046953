#include "bus/CTellbusRequest.h"

#include "FakeTellbus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class CTellbusRequestTest : public testing::Test {
protected:
    CTellbusRequest request(char const* parameters = "{}", int noReply = 0) {
        return {&mContext, "checkTag", parameters, noReply, nullptr};
    }
    std::string context() { return shown(&mContext); }

    FakeTellbus bus;
    int mContext = 0;
};

} // namespace

TEST_F(CTellbusRequestTest, StoresWhatTheLibraryGave) {
    int user = 0;
    CTellbusRequest const one(&mContext, "checkTag", R"({"Name":"Song"})", 2, &user);
    EXPECT_EQ(&mContext, one.context);
    EXPECT_EQ("checkTag", one.method);
    EXPECT_EQ("Song", one.parameters["Name"].asString());
    EXPECT_TRUE(one.noReplyExpected);
    EXPECT_EQ(&user, one.userContext);
    EXPECT_FALSE(request().noReplyExpected);
    EXPECT_THAT(bus.calls, IsEmpty());
}

TEST_F(CTellbusRequestTest, ANullMethodIsTheEmptyName) {
    EXPECT_EQ("", CTellbusRequest(&mContext, nullptr, "{}", 0, nullptr).method);
}

TEST_F(CTellbusRequestTest, NullParametersAreAnEmptyObject) {
    CTellbusRequest const one = request(nullptr);
    EXPECT_TRUE(one.parameters.isObject());
    EXPECT_TRUE(one.parameters.empty());
}

TEST_F(CTellbusRequestTest, ParametersThatDoNotParseAreANullValueWithoutAWordToTheCaller) {
    EXPECT_TRUE(request(R"({"Name":"So)").parameters.isNull());
    EXPECT_TRUE(request("").parameters.isNull());
    EXPECT_THAT(bus.calls, IsEmpty());
}

TEST_F(CTellbusRequestTest, NestingBeyondWhatTheReaderTakesDoesNotThrow) {
    std::string const deep(200000, '[');
    EXPECT_NO_THROW(EXPECT_TRUE(request(deep.c_str()).parameters.isNull()));
}

TEST_F(CTellbusRequestTest, ReturnReplySendsTheTextAndReturnsTheStatus) {
    bus.answer("returnResult", 0x80000011U);
    CTellbusRequest one = request();
    EXPECT_EQ(0x80000011U, one.returnReply("{\"a\":1}\n", false));
    EXPECT_THAT(bus.calls, ElementsAre("returnResult " + context() + " {\"a\":1}\n"));
    EXPECT_EQ(&mContext, one.context);
}

TEST_F(CTellbusRequestTest, ReturnErrorSendsTheOneErrorName) {
    bus.answer("returnError", 0x40000002U);
    CTellbusRequest one = request();
    EXPECT_EQ(0x40000002U, one.returnError("no", false));
    EXPECT_THAT(bus.calls,
                ElementsAre("returnError " + context() + " com.veldan.service.Error no"));
}

TEST_F(CTellbusRequestTest, ReleaseFreesTheContextBehindTheReplyEvenIfTheReplyFailed) {
    bus.answer("returnResult", FakeTellbus::FAILURE);
    CTellbusRequest one = request();
    EXPECT_EQ(FakeTellbus::FAILURE, one.returnReply("{}", true));
    EXPECT_EQ(nullptr, one.context);
    EXPECT_THAT(bus.calls,
                ElementsAre("returnResult " + context() + " {}", "freeReqContext " + context()));
}

TEST_F(CTellbusRequestTest, ReturnErrorWithReleaseFreesTheContext) {
    CTellbusRequest one = request();
    one.returnError("no", true);
    EXPECT_EQ(nullptr, one.context);
    EXPECT_THAT(bus.operations(), ElementsAre("returnError", "freeReqContext"));
}

TEST_F(CTellbusRequestTest, FreeRequestContextAfterAReleasingReplyFindsNullAndFreesOnce) {
    CTellbusRequest one = request();
    one.returnReply("{}", true);
    one.freeRequestContext();
    one.returnReply("{}", true);
    EXPECT_THAT(bus.operations(), ElementsAre("returnResult", "freeReqContext", "returnResult"));
}

TEST_F(CTellbusRequestTest, TheDestructorLeavesTheContextToTheLibrary) {
    { CTellbusRequest const one = request(); }
    EXPECT_THAT(bus.calls, IsEmpty());
}

TEST_F(CTellbusRequestTest, ACopySharesTheContextAndHasAllOtherFields) {
    int user = 0;
    CTellbusRequest const one(&mContext, "checkTag", R"({"Name":"Song"})", 1, &user);
    CTellbusRequest copy(one);
    EXPECT_EQ(one.context, copy.context);
    EXPECT_EQ(one.method, copy.method);
    EXPECT_EQ(one.parameters, copy.parameters);
    EXPECT_TRUE(copy.noReplyExpected);
    EXPECT_EQ(&user, copy.userContext);
    copy.freeRequestContext();
    EXPECT_EQ(&mContext, one.context);
}
