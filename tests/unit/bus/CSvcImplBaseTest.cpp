#include "bus/CSvcImplBase.h"

#include "BusTest.h"
#include "bus/CTellbusRequest.h"

#include <optional>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char NAME[] = "com.veldan.service.Songlatch";
constexpr char PATH[] = "/com/veldan/service/Songlatch";

class Service final : public CSvcImplBase {
public:
    explicit Service(bool publish) : CSvcImplBase(NAME, PATH, publish) {}

    void processTellbusRequest(CTellbusRequest* request) override {
        methods.push_back(request->method);
        request->returnReply(m_jsonWriter.write(request->parameters), true);
    }

    std::vector<std::string> methods;
};

class CSvcImplBaseTest : public RouterTest {
protected:
    CSvcImplBaseTest() { bus.calls.clear(); }

    std::string registration() const {
        return "registerService " + shown(router().busConnection())
               + " com.veldan.service.Songlatch /com/veldan/service/Songlatch 0";
    }
    std::string handle() const { return shown(bus.services.at(0).handle); }

    int context = 0;
};

} // namespace

TEST_F(CSvcImplBaseTest, PublishesAtOnceIfAskedTo) {
    Service const service(true);
    EXPECT_THAT(bus.calls, ElementsAre(registration()));
}

TEST_F(CSvcImplBaseTest, PublishesLaterIfAskedTo) {
    Service service(false);
    EXPECT_THAT(bus.calls, IsEmpty());
    service.publishSvcName();
    EXPECT_THAT(bus.calls, ElementsAre(registration()));
}

TEST_F(CSvcImplBaseTest, PublishingTwiceRegistersOnce) {
    Service service(true);
    service.publishSvcName();
    EXPECT_THAT(bus.calls, ElementsAre(registration()));
}

TEST_F(CSvcImplBaseTest, APublishingThatFailedCanBeTriedAgain) {
    bus.answer("registerService", FakeTellbus::FAILURE);
    std::optional<Service> service;
    EXPECT_EQ("CTellbusEventServerBase: TELLBUS_registerService error 0x80000007\n",
              stdoutOf([&] { service.emplace(true); }));
    bus.answer("registerService", 0);
    service->publishSvcName();
    EXPECT_THAT(bus.calls, ElementsAre(registration(), registration()));
}

TEST_F(CSvcImplBaseTest, UnpublishingForgetsTheHandleWhateverComesBack) {
    Service service(true);
    bus.answer("unregisterService", FakeTellbus::FAILURE);
    bus.calls.clear();
    stdoutOf([&] { service.unpublishSvcName(); });
    EXPECT_THAT(bus.calls, ElementsAre("unregisterService " + handle()));
    bus.calls.clear();
    service.publishSvcName();
    EXPECT_THAT(bus.calls, ElementsAre(registration()));
}

TEST_F(CSvcImplBaseTest, EmitSendsThroughTheRegistrationAndReturnsTheStatus) {
    Service service(true);
    bus.answer("emit", 0x80000003U);
    bus.calls.clear();
    EXPECT_EQ(0x80000003U, service.emit("localStatus", "{}\n"));
    EXPECT_THAT(bus.calls, ElementsAre("emit " + handle() + " localStatus {}\n"));
}

TEST_F(CSvcImplBaseTest, EmitAfterUnpublishingPassesANullHandle) {
    Service service(true);
    service.unpublishSvcName();
    bus.calls.clear();
    service.emit("localStatus", "{}");
    EXPECT_THAT(bus.calls, ElementsAre("emit " + shown(nullptr) + " localStatus {}"));
}

TEST_F(CSvcImplBaseTest, ReturnReplySendsTheResultAndReturnsItsStatus) {
    Service service(false);
    bus.answer("returnResult", 0x80000004U);
    EXPECT_EQ(0x80000004U, service.returnReply(&context, "{}", false));
    EXPECT_THAT(bus.calls, ElementsAre("returnResult " + shown(&context) + " {}"));
}

TEST_F(CSvcImplBaseTest, ReturnErrorSendsTheOneErrorNameAndReturnsItsStatus) {
    Service service(false);
    bus.answer("returnError", 0x80000005U);
    EXPECT_EQ(0x80000005U, service.returnError(&context, "no", false));
    EXPECT_THAT(bus.calls,
                ElementsAre("returnError " + shown(&context) + " com.veldan.service.Error no"));
}

TEST_F(CSvcImplBaseTest, ReleaseFreesTheContextBehindTheReplyEvenIfThatFailed) {
    Service service(false);
    bus.answer("returnResult", FakeTellbus::FAILURE);
    EXPECT_EQ(FakeTellbus::FAILURE, service.returnReply(&context, "{}", true));
    service.returnError(&context, "no", true);
    std::string const freed = "freeReqContext " + shown(&context);
    EXPECT_THAT(bus.calls,
                ElementsAre("returnResult " + shown(&context) + " {}", freed,
                            "returnError " + shown(&context) + " com.veldan.service.Error no",
                            freed));
}

TEST_F(CSvcImplBaseTest, ARequestReachesTheServiceAndItsReplyTheLibrary) {
    Service service(true);
    bus.request(&context, "checkTag", R"({"b":2,"a":1})");
    bus.calls.clear();
    runQueued();
    EXPECT_THAT(service.methods, ElementsAre("checkTag"));
    EXPECT_THAT(bus.calls, ElementsAre("returnResult " + shown(&context) + " {\"a\":1,\"b\":2}\n",
                                       "freeReqContext " + shown(&context)));
}

TEST_F(CSvcImplBaseTest, ARequestThatDoesNotParseReachesTheServiceAllTheSame) {
    Service service(true);
    bus.request(&context, "checkTag", "{\"a\"");
    bus.calls.clear();
    runQueued();
    EXPECT_THAT(service.methods, ElementsAre("checkTag"));
    EXPECT_EQ("returnResult " + shown(&context) + " null\n", bus.calls.at(0));
}

TEST_F(CSvcImplBaseTest, TheEndOfTheObjectDoesNotUnpublish) {
    { Service const service(true); }
    EXPECT_THAT(bus.calls, ElementsAre(registration()));
    bus.calls.clear();
    router().disableTellbus();
    EXPECT_EQ("unregisterService " + handle(), bus.calls.at(0));
}

TEST(CSvcImplBaseLife, HoldsTwoReferencesAndGivesThemBack) {
    FakeTellbus bus;
    std::optional<Service> service(std::in_place, true);
    EXPECT_EQ("", stdoutOf([] { CTellbusEventRouter::releaseMe(); }));
    CTellbusEventRouter::getMe();
    EXPECT_EQ("Destroyed CTellbusEventRouter.\n", stdoutOf([&] { service.reset(); }));
}

TEST_F(CSvcImplBaseTest, TheDefaultHandlerSaysThatItIsTheDefault) {
    CSvcImplBase plain(NAME, PATH, false);
    EXPECT_EQ("CSvcImplBase::processTellbusRequest() - Warning: Function not overridden by child "
              "class.\n",
              stdoutOf([&] { plain.processTellbusRequest(nullptr); }));
}
