// The framework on the real bus library and a real bus: what the stand-in of the other tests can't
// vouch for.
#include "EndOfProcess.h"
#include "NewestChannel.h"
#include "bus/CSvcClientBase.h"
#include "bus/CSvcImplBase.h"
#include "bus/CTellbusEventRouter.h"
#include "bus/CTellbusRequest.h"
#include "bus/TellbusStatus.h"
#include "support/PrivateBus.h"
#include "support/StdoutOf.h"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/reader.h>
#include <memory>
#include <optional>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char NAME[] = "com.example.framework.Echo";
constexpr char PATH[] = "/com/example/framework/Echo";
constexpr unsigned int TIMEOUT = 30000;
constexpr unsigned int DEADLINE_SECONDS = 200;

/** Answers "echo" with its parameters, dies on "die", keeps quiet on anything else. */
class Echo final : public CSvcImplBase {
public:
    explicit Echo(bool publish) : CSvcImplBase(NAME, PATH, publish) {}

    void processTellbusRequest(CTellbusRequest* request) override {
        methods.push_back(request->method);
        if (request->method == "echo") {
            request->returnReply(m_jsonWriter.write(request->parameters), true);
        } else if (request->method == "refuse") {
            request->returnError("no", true);
        } else if (request->method == "die") {
            _exit(0);
        }
    }

    std::vector<std::string> methods;
};

/** Notes what comes, and has the loop end when it is what the test waits for. */
class Client final : public CSvcClientBase {
public:
    void processTellbusResult(unsigned int const& id, CTellbusResult* result,
                              void* context) override {
        CSvcClientBase::processTellbusResult(id, result, context);
        if (isTellbusUnanswered(result->status)) {
            note("unanswered");
        }
    }
    void processTellbusResult(unsigned int const&, char const* text, void*) override {
        note(std::string("result ") + text);
    }
    void processTellbusSignal(unsigned int const&, CTellbusSignal const* signal, void*) override {
        note(std::string("signal ") + signal->name + " " + signal->data);
    }
    void processTellbusNameChange(unsigned int const&, CTellbusNameChange const* change,
                                  void*) override {
        note(std::string(change->newOwner).empty() ? "gone" : "here");
    }

    std::vector<std::string> events;
    std::function<void(std::string const&)> onEvent;

private:
    void note(std::string const& event) {
        events.push_back(event);
        onEvent(event);
    }
};

class RealBus : public testing::Test {
protected:
    RealBus() {
        bus.use();
        alarm(DEADLINE_SECONDS);
    }
    ~RealBus() override {
        stdoutOf([&] {
            client.reset();
            echo.reset();
        });
        alarm(0);
    }

    void bringUp(bool publish = true) {
        client.emplace();
        channel.emplace();
        echo.emplace(publish);
    }
    /** Runs the loop until the client has noted the event. */
    void runUntil(std::string const& awaited) {
        client->onEvent = [&](std::string const& event) {
            if (event == awaited) {
                channel->postStop();
            }
        };
        CTellbusRouterHold const router;
        router->start();
    }
    unsigned int invoke(char const* method, std::string const& parameters = "{}",
                        bool noReply = false) {
        Json::Value value;
        Json::Reader().parse(parameters, value);
        return client->invoke(NAME, PATH, method, value, noReply, TIMEOUT, nullptr);
    }

    PrivateBus bus;
    std::optional<Client> client;
    std::optional<NewestChannel> channel;
    std::optional<Echo> echo;
};

using RealBusDeathTest = RealBus;

} // namespace

TEST_F(RealBus, ACallReachesTheServiceAndItsReplyTheClient) {
    bringUp();
    invoke("echo", R"({"Name":"Sång"})");
    std::string const reply = "result {\"Name\":\"S\\u00e5ng\"}\n";
    runUntil(reply);
    EXPECT_THAT(echo->methods, ElementsAre("echo"));
    EXPECT_THAT(client->events, ElementsAre(reply));
}

TEST_F(RealBus, CallsAndRepliesKeepTheirOrder) {
    bringUp();
    std::vector<std::string> expected;
    for (int number = 0; number < 200; ++number) {
        invoke("echo", std::to_string(number));
        expected.push_back("result " + std::to_string(number) + "\n");
    }
    runUntil(expected.back());
    EXPECT_EQ(expected, client->events);
}

TEST_F(RealBus, ACallWithoutReplyReachesTheServiceAndNothingComesBack) {
    bringUp();
    EXPECT_EQ(0U, invoke("echo", "1", true));
    invoke("echo", "2");
    runUntil("result 2\n");
    EXPECT_THAT(echo->methods, ElementsAre("echo", "echo"));
    EXPECT_THAT(client->events, ElementsAre("result 2\n"));
}

TEST_F(RealBus, AnErrorReplyIsAResultWithEmptyText) {
    bringUp();
    invoke("refuse");
    runUntil("result ");
    EXPECT_THAT(echo->methods, ElementsAre("refuse"));
}

TEST_F(RealBus, ACallToANameWithoutOwnerIsAResultWithEmptyText) {
    bringUp(false);
    invoke("echo");
    runUntil("result ");
    EXPECT_THAT(echo->methods, IsEmpty());
}

TEST_F(RealBus, NestingBeyondWhatTheReaderTakesReachesTheServiceAsNull) {
    bringUp();
    Json::Value deep;
    for (int depth = 0; depth < 1500; ++depth) {
        Json::Value outer(Json::arrayValue);
        outer.append(Json::Value()).swap(deep);
        deep.swap(outer);
    }
    client->invoke(NAME, PATH, "echo", deep, false, TIMEOUT, nullptr);
    runUntil("result null\n");
}

TEST_F(RealBus, SignalsComeUntilTheUnsubscribe) {
    bringUp();
    unsigned int const id = client->subscribe(PATH, "localStatus", nullptr);
    invoke("echo", "1");
    runUntil("result 1\n");
    EXPECT_EQ(0U, echo->emit("localStatus", "[1]"));
    EXPECT_EQ(0U, echo->emit("otherStatus", "[1]"));
    EXPECT_EQ(0U, echo->emit("localStatus", "[2]"));
    runUntil("signal localStatus [2]");
    EXPECT_THAT(client->events,
                ElementsAre("result 1\n", "signal localStatus [1]", "signal localStatus [2]"));
    echo->emit("localStatus", "[3]");
    client->unsubscribe(id);
    echo->emit("localStatus", "[4]");
    invoke("echo", "2");
    runUntil("result 2\n");
    EXPECT_EQ(4U, client->events.size());
}

TEST_F(RealBus, AReplyThatIsNotWantedAnyMoreIsReported) {
    bringUp();
    unsigned int const id = invoke("echo", "1");
    client->ignoreResponse(id);
    invoke("echo", "2");
    EXPECT_EQ("CTellbusEventRouter::processTellbusResult() - ignoring result having id: "
                  + std::to_string(id) + "\n",
              stdoutOf([&] { runUntil("result 2\n"); }));
    EXPECT_THAT(client->events, ElementsAre("result 2\n"));
}

TEST_F(RealBus, TheOwnerOfANameIsSeenToComeAndToGo) {
    bringUp(false);
    EXPECT_FALSE(client->nameHasOwner(NAME));
    client->subscribeOwnerChanged(NAME, nullptr);
    echo->publishSvcName();
    runUntil("here");
    EXPECT_TRUE(client->nameHasOwner(NAME));
    echo->unpublishSvcName();
    runUntil("gone");
    EXPECT_FALSE(client->nameHasOwner(NAME));
}

TEST_F(RealBus, ABusThatDiesEndsThePendingCallWithoutAResult) {
    bringUp();
    invoke("keepQuiet");
    invoke("echo", "1");
    runUntil("result 1\n");
    bus.stop();
    runUntil("unanswered");
    EXPECT_THAT(client->events, ElementsAre("result 1\n", "unanswered"));
}

TEST_F(RealBus, AServiceProcessThatDiesEndsThePendingCallWithoutAResult) {
    int go[2];
    ASSERT_EQ(0, pipe(go));
    pid_t const service = fork();
    if (service == 0) {
        char byte = 0;
        if (read(go[0], &byte, 1) == 1) {
            Echo dying(true);
            CTellbusRouterHold const router;
            router->start();
        }
        _exit(1);
    }
    bringUp(false);
    client->subscribeOwnerChanged(NAME, nullptr);
    ASSERT_EQ(1, write(go[1], "", 1));
    runUntil("here");
    invoke("die");
    runUntil("unanswered");
    EXPECT_THAT(client->events, testing::Not(testing::Contains("result ")));
    int status = 1;
    ASSERT_EQ(service, waitpid(service, &status, 0));
    EXPECT_EQ(0, status);
    close(go[0]);
    close(go[1]);
}

TEST_F(RealBus, EverythingMayGoWithCallsPendingAndSignalsOnTheirWay) {
    bringUp();
    client->subscribe(PATH, "localStatus", nullptr);
    unsigned int const ended = client->subscribe(PATH, "otherStatus", nullptr);
    client->subscribeOwnerChanged(NAME, nullptr);
    for (int number = 0; number < 50; ++number) {
        invoke("echo");
        echo->emit("localStatus", "{}");
    }
    client->unsubscribe(ended);
    EXPECT_EQ("Destroyed CTellbusEventRouter.\n", stdoutOf([&] {
                  echo.reset();
                  client.reset();
              }));
}

TEST_F(RealBusDeathTest, WithoutABusTheFirstCallThatFailsIsPrintedAndTheStatusIsZero) {
    bus.stop();
    expectEndOfProcess(
        [] { Echo const service(true); },
        testing::MatchesRegex("CTellbusEventServerBase: TELLBUS_(initialize|getConnection) error "
                              "0x[89A-F][0-9A-F]+\n"));
}
