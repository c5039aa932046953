// The service object on a bus library that is the test's own, for events that no well-behaved bus
// brings. Whatever a real bus can bring is tested there, in tests/integration.
#include "service/CTaggingImpl.h"

#include "bus/CTellbusEventRouter.h"
#include "bus/CTellbusEventTypes.h"
#include "bus/CTellbusRequest.h"
#include "bus/support/FakeTellbus.h"
#include "bus/support/NewestChannel.h"
#include "files/XMLTools.h"
#include "platform/ControlNode.h"
#include "service/NoConfiguration.h"
#include "support/LogFile.h"
#include "support/ServedNode.h"
#include "support/StdoutOf.h"
#include "support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr char DEVICESTATE[] = "deviceState";

/** Well-formed, and not the bytes that the service would write. */
constexpr char EMPTYDOCUMENT[] = "<MarkedTracks>\n</MarkedTracks>\n";

char* newText(char const* text) {
    auto copy = std::make_unique<char[]>(std::strlen(text) + 1);
    std::strcpy(copy.get(), text);
    return copy.release();
}

class CTaggingImplEvents : public testing::Test {
protected:
    CTaggingImplEvents() {
        folder.write("Songlatch.conf", "<conf><maxTagCount value='5'/><localStorage folder='"
                                           + folder.path() + "'/></conf>");
        for (char const* file : {"Tags.xml", "AmbigTag.xml", "TaggedInfo.xml"}) {
            folder.write(file, EMPTYDOCUMENT);
        }
        XMLTools::_CONFIGFILEPATH = folder.path("Songlatch.conf");
    }

    ~CTaggingImplEvents() override { stop(); }

    CTaggingImpl& start(bool debug = false) {
        service = std::make_unique<CTaggingImpl>(debug);
        return *service;
    }

    /** Ends the service, and answers what the bus library still owes it, as its shutdown would. */
    void stop() {
        if (service == nullptr) {
            return;
        }
        stdoutOf([this] {
            CTellbusEventRouter* const router = CTellbusEventRouter::getMe();
            service.reset();
            for (std::size_t call = 0; call < bus.invocations.size(); ++call) {
                bus.reply(nullptr, TELLBUS_E_CLOSED, call);
            }
            bus.invocations.clear();
            for (; completed < bus.unsubscribes.size(); ++completed) {
                bus.complete(0, completed);
            }
            router->stop();
            router->start();
            CTellbusEventRouter::releaseMe();
        });
    }

    /** Frees what belongs to calls that neither failed nor succeeded, as no real library's do. */
    void forgetCalls() {
        CTellbusEventRouter* const router = CTellbusEventRouter::getMe();
        for (FakeTellbus::Call const& call : bus.invocations) {
            router->unregisterAsEventTarget(static_cast<CTellbusEventCookie*>(call.cookie), true);
        }
        bus.invocations.clear();
        CTellbusEventRouter::releaseMe();
    }

    /** What was emitted since the last look, as "name body". */
    std::vector<std::string> emitted() {
        std::vector<std::string> signals;
        for (std::string const& call : bus.calls) {
            if (call.rfind("emit ", 0) == 0) {
                signals.push_back(call.substr(call.find(' ', sizeof "emit") + 1));
            }
        }
        bus.calls.clear();
        return signals;
    }

    /** An iPod is reported. */
    static void arrive(CTaggingImpl& tagging, std::string const& mountPoint) {
        CTellbusSignal const signal(
            newText("deviceState"),
            newText(("{\"available\":true,\"device\":{\"type\":\"ipod\",\"id\":1,\"mountPoint\":\""
                     + mountPoint + "\"}}")
                        .c_str()));
        CTellbusSignal const* reported = &signal;
        tagging.ProcessDeviceStateSignal(reported);
    }

    /** A driver that lists the capability for tagging and takes no tags. */
    static DriverLoop::Driver refusingDriver() {
        return [](ControlNodePeer& peer) {
            bool const asked = peer.request().kind == ControlNodeKind::Message;
            return peer.startReply(asked ? ControlNodeReply{0, 0, {1, 0, 0, 0, 8, 0}}
                                         : ControlNodeReply{EIO, 0, {}});
        };
    }

    TempDir folder;
    LogFile log;
    FakeTellbus bus;
    std::unique_ptr<CTaggingImpl> service;
    std::size_t completed = 0;
};

TEST_F(CTaggingImplEvents, MinusOneLeavesALocalStatusAsItIsAndStillEmitsIt) {
    CTaggingImpl& tagging = start();
    tagging.sendLocalStatus(3, 9);
    emitted();
    tagging.sendLocalStatus(-1, -1);
    EXPECT_THAT(emitted(), ElementsAre("localStatus {\"Current\":3,\"Max\":9}\n"));
    tagging.sendLocalStatus(-1, 7);
    EXPECT_THAT(emitted(), ElementsAre("localStatus {\"Current\":3,\"Max\":7}\n"));
}

TEST_F(CTaggingImplEvents, AStatusOutsideTheTenIsPublishedAsAnEmptyNameAndZero) {
    CTaggingImpl& tagging = start();
    emitted();
    tagging.sendTransferStatus(static_cast<CTaggingImpl::EnuStatus>(0));
    EXPECT_THAT(emitted(), ElementsAre("transferStatus {\"Name\":\"\",\"Value\":0}\n"));
}

TEST_F(CTaggingImplEvents, NoPropertyAskedForIsNoPropertyGiven) {
    CTaggingImpl& tagging = start();
    emitted();
    EXPECT_EQ(Json::FastWriter().write(tagging.getProperties(false, false, false)),
              "{\"props\":{}}\n");
    EXPECT_THAT(emitted(), IsEmpty());
}

TEST_F(CTaggingImplEvents, AResultOfAnotherContextIsLoggedAndOtherwiseIgnored) {
    CTaggingImpl& tagging = start();
    emitted();
    log.clear();
    char context[] = "otherCall";
    tagging.processTellbusResult(1, "{\"devices\":[]}", context);
    EXPECT_THAT(log.lines(),
                ElementsAre("Message: CTaggingImpl_processTellBUSResult: --------------------",
                            "Message: CTaggingImpl_processTellBUSResult: ResultName: otherCall",
                            "Message: CTaggingImpl_processTellBUSResult: Exiting",
                            "Message: CTaggingImpl_processTellBUSResult: --------------------"));
    EXPECT_THAT(emitted(), IsEmpty());
}

TEST_F(CTaggingImplEvents, AResultWithoutAContextIsNotEvenLogged) {
    CTaggingImpl& tagging = start();
    log.clear();
    tagging.processTellbusResult(1, "{\"devices\":[]}", nullptr);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CTaggingImplEvents, ANullResultReadsAsAnEmptyAnswer) {
    CTaggingImpl& tagging = start();
    char context[] = "getDevices";
    tagging.processTellbusResult(1, static_cast<char const*>(nullptr), context);
    EXPECT_THAT(log.lines(),
                Contains("Warning: CTaggingImpl_ProcessDeviceState(Json): deviceList is empty!"));
}

TEST_F(CTaggingImplEvents, ASignalOfAnotherSubscriptionIsOnlyRuledOff) {
    CTaggingImpl& tagging = start();
    emitted();
    log.clear();
    CTellbusSignal const signal(newText("deviceState"),
                                newText("{\"available\":true,\"device\":{\"type\":\"ipod\"}}"));
    tagging.processTellbusSignal(99, &signal, nullptr);
    EXPECT_THAT(log.lines(),
                ElementsAre("Message: CTaggingImpl_processTellbusSignal: --------------------",
                            "Message: CTaggingImpl_processTellbusSignal: --------------------"));
    EXPECT_THAT(emitted(), IsEmpty());
}

TEST_F(CTaggingImplEvents, NoRequestIsNoWork) {
    CTaggingImpl& tagging = start();
    log.clear();
    tagging.processTellbusRequest(nullptr);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CTaggingImplEvents, ARequestThatWantsNoReplyIsReleasedWithoutOne) {
    CTaggingImpl& tagging = start();
    bus.calls.clear();
    int context = 0;
    CTellbusRequest request(&context, "getProperties", "{}", 1, nullptr);
    tagging.processTellbusRequest(&request);
    EXPECT_THAT(bus.operations(), ElementsAre("freeReqContext"));
}

TEST_F(CTaggingImplEvents, RecordsNothingWithoutXmlTools) {
    CTaggingImpl& tagging = start();
    std::vector<CMediaDevice*> devices;
    tagging.UpdateIpodTagIds(nullptr, nullptr, nullptr, devices);
    EXPECT_EQ(folder.read("TaggedInfo.xml"), EMPTYDOCUMENT);
}

TEST_F(CTaggingImplEvents, EveryDeviceCountsAsFull) {
    CTaggingImpl& tagging = start();
    EXPECT_TRUE(tagging.isDeviceFull(0));
    EXPECT_TRUE(tagging.isDeviceFull(7));
}

TEST_F(CTaggingImplEvents, StartsWithoutDevicesWhenTheQuestionCannotBeAsked) {
    bus.duringInvoke = [] { throw std::runtime_error("no room for the call"); };
    std::string const screen = stdoutOf([this] { start(); });
    EXPECT_THAT(screen, HasSubstr("Error: Songlatching: CTaggingImpl_getDevices: Error\n"));
    EXPECT_THAT(log.lines(), Contains("Message: CTaggingImpl_SonglatchingReady: fired"));
    forgetCalls();
}

TEST_F(CTaggingImplEvents, ARequestWithoutAConfigurationIsAnErrorAndTouchesNoFile) {
    CTaggingImpl& tagging = start();
    emitted();
    NoConfiguration const none;
    std::vector<CTaggingImpl::_tag> tags(1);
    EXPECT_EQ(tagging.tagRequest(tags, -1), CTaggingImpl::ERROR);
    EXPECT_EQ(folder.read("Tags.xml"), EMPTYDOCUMENT);
    EXPECT_THAT(emitted(), IsEmpty());
}

TEST_F(CTaggingImplEvents, ATransferWithoutAConfigurationIsAnErrorAndTouchesNoFile) {
    CTaggingImpl& tagging = start();
    emitted();
    NoConfiguration const none;
    tagging.ProcessStoredTags();
    EXPECT_THAT(emitted(), ElementsAre("transferStatus {\"Name\":\"ERROR\",\"Value\":2}\n"));
    EXPECT_EQ(folder.read("Tags.xml"), EMPTYDOCUMENT);
}

TEST_F(CTaggingImplEvents, AFailedTransferIsToldWhenTheTagsAreBackInTheFile) {
    CTaggingImpl& tagging = start();
    std::string const waiting = "<Any><Tag Name=\"n\"/></Any>";
    folder.write("Tags.xml", waiting);
    ServedNode const ipod(folder.path("ipod") + CONTROLNODE, refusingDriver());
    std::string told;
    std::string fileWhenTold;
    bus.duringEmit = [&](std::string const& name, std::string const& body) {
        if (name == TRANSFERSTATUS) {
            told = body;
            fileWhenTold = folder.read("Tags.xml");
        }
    };
    stdoutOf([&] { arrive(tagging, folder.path("ipod")); });
    EXPECT_THAT(told, HasSubstr("TRANSFER_FAILED"));
    EXPECT_NE(fileWhenTold, waiting);
    EXPECT_THAT(fileWhenTold, HasSubstr("<Tag Name=\"n\""));
}

TEST_F(CTaggingImplEvents, DeletedAfterTheLoopHasEndedItIsNotCalledAnyMore) {
    CTaggingImpl& tagging = start();
    stdoutOf([&] { arrive(tagging, folder.path("ipod")); });
    CTellbusEventRouter* const router = CTellbusEventRouter::getMe();
    int context = 0;
    bus.request(&context, "getProperties", "{}");
    bus.signal(DEVICESTATE, "{}");
    bus.duringShutdown = [&] { bus.reply(nullptr, TELLBUS_E_CLOSED); };
    stdoutOf([&] {
        router->stop();
        router->start();
    });
    EXPECT_THAT(log.lines(),
                Contains("Message: CTaggingImpl_processTellbusRequest: -----< END >-----"));
    log.clear();
    bus.invocations.clear();
    bus.answer("asyncUnsubscribe", TELLBUS_E_CLOSED); // as the library does after its shutdown
    stdoutOf([&] {
        service.reset();
        CTellbusEventRouter::releaseMe();
    });
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CTaggingImplEvents, AnOwnerChangeThatNobodySubscribedToIsOnlyReported) {
    CTaggingImpl& tagging = start();
    log.clear();
    EXPECT_THAT(stdoutOf([&] { tagging.processTellbusNameChange(1, nullptr, nullptr); }),
                HasSubstr("processTellbusNameChange"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CTaggingImplEvents, DeletedWithEverythingRegisteredAndQueuedItIsNotCalledAnyMore) {
    start();
    CTellbusEventRouter* const router = CTellbusEventRouter::getMe();
    NewestChannel const channel;
    channel.postStop();
    // Behind the end of the loop, so that all of it waits when the service goes.
    int context = 0;
    bus.request(&context, "getProperties", "{}");
    bus.signal(DEVICESTATE, "{}");
    bus.reply("[]");
    stdoutOf([&] { router->start(); });
    log.clear();
    bus.calls.clear();
    bus.duringShutdown = [&] {
        for (; completed < bus.unsubscribes.size(); ++completed) {
            bus.complete(TELLBUS_E_CLOSED, completed);
        }
    };
    stdoutOf([&] {
        service.reset();
        CTellbusEventRouter::releaseMe();
    });
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_THAT(bus.operations(), testing::IsSupersetOf({"unregisterService", "shutdown"}));
    EXPECT_THAT(emitted(), IsEmpty());
}

TEST_F(CTaggingImplEvents, AStartWithoutAConfigurationPublishesNoCount) {
    NoConfiguration const none;
    CTaggingImpl& tagging = start();
    EXPECT_THAT(emitted(), IsEmpty());
    EXPECT_EQ(Json::FastWriter().write(tagging.getProperties(false, false, true)),
              "{\"props\":{\"localStatus\":{\"Current\":0,\"Max\":0}}}\n");
}

TEST_F(CTaggingImplEvents, NothingCountsAsTaggedWithoutAConfiguration) {
    CTaggingImpl& tagging = start();
    NoConfiguration const none;
    EXPECT_FALSE(tagging.checkTag(Json::objectValue).tagged);
}

TEST_F(CTaggingImplEvents, TheEndOfTheServiceEndsItsSubscription) {
    start();
    EXPECT_THAT(bus.unsubscribes, IsEmpty());
    stop();
    ASSERT_EQ(bus.unsubscribes.size(), 1U);
    EXPECT_EQ(bus.unsubscribes.front().handle, bus.subscriptions.front().handle);
}

TEST_F(CTaggingImplEvents, DebugShowsItsOwnMessagesAndThoseOfTheFilesOnTheScreen) {
    std::string const screen = stdoutOf([this] { start(true); });
    EXPECT_THAT(screen,
                HasSubstr("Message: Songlatching: CTaggingImpl_Constructor: Item created\n"));
    EXPECT_THAT(screen, HasSubstr("Message: Songlatching: XMLTools_LoadTags: "));
    stop();
    EXPECT_THAT(stdoutOf([this] { start(false); }),
                Not(HasSubstr("Message: Songlatching: XMLTools_LoadTags: ")));
}

} // namespace
