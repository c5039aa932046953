#include "OnBus.h"
#include "RawClient.h"

#include <array>
#include <atomic>
#include <future>

using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;

namespace {

/** What two calls return that are made by two threads, both of them there before either begins. */
template <class One, class Other>
std::array<TELLBUS_tStatus, 2> atTheSameTime(One one, Other other) {
    std::atomic<int> there{0};
    auto const together = [&there](auto const& call) {
        ++there;
        while (there < 2) {
            std::this_thread::yield();
        }
        return call();
    };
    auto second = std::async(std::launch::async, [&] { return together(other); });
    TELLBUS_tStatus const first = together(one);
    return {first, second.get()};
}

} // namespace

class ServiceOnBus : public OnBus {};

TEST_F(ServiceOnBus, SharesItsConnectionWithOthers) {
    Inbox<Request> one;
    Inbox<Request> two;
    Inbox<Request> sameName;
    serve(requestInto, &one);
    serve(requestInto, &two, "com.example.one.Other", "/com/example/one/Other");
    serve(requestInto, &sameName, NAME, "/second/object");
    invoke(results, "toTheOther", "{}", 0, "com.example.one.Other", "/com/example/one/Other");
    invoke(results, "toTheFirst", "{}");
    invoke(results, "toTheSecondObject", "{}", 0, NAME, "/second/object");
    EXPECT_EQ(two.next().method, "toTheOther");
    EXPECT_EQ(one.next().method, "toTheFirst");
    EXPECT_EQ(sameName.next().method, "toTheSecondObject");
}

TEST_F(ServiceOnBus, IsToldApartByNameOnTheSamePath) {
    Inbox<Request> one;
    Inbox<Request> two;
    serve(requestInto, &one);
    serve(requestInto, &two, "com.example.one.Other", PATH);
    invoke(results, "other", "{}", 0, "com.example.one.Other", PATH);
    invoke(results, "first", "{}");
    EXPECT_EQ(two.next().method, "other");
    EXPECT_EQ(one.next().method, "first");
}

TEST_F(ServiceOnBus, KeepsItsNameAsLongAsOneObjectUsesIt) {
    void* const first = serve(echo);
    void* const second = serve(echo, nullptr, NAME, "/second/object");
    EXPECT_EQ(TELLBUS_unregisterService(first), TELLBUS_OK);
    EXPECT_THAT(call("any", "{}", 0, NAME, "/second/object"), Succeeded("{}"));
    EXPECT_EQ(TELLBUS_unregisterService(second), TELLBUS_OK);
    EXPECT_THAT(call("any", "{}", 0, NAME, "/second/object"), Failed(TELLBUS_E_NO_SERVICE));
}

TEST_F(ServiceOnBus, CanComeBackAfterItsEnd) {
    for (int round = 0; round < 20; ++round) {
        void* const handle = serve(echo);
        EXPECT_THAT(call("any", "{}"), Succeeded("{}"));
        EXPECT_EQ(TELLBUS_unregisterService(handle), TELLBUS_OK);
    }
}

TEST_F(ServiceOnBus, IsRefusedASecondTimeOnTheSamePath) {
    serve(echo);
    void* handle = nullptr;
    EXPECT_EQ(TELLBUS_registerService(server, NAME, PATH, 0, echo, nullptr, &handle),
              TELLBUS_E_EXISTS);
    EXPECT_EQ(handle, nullptr);
}

TEST_F(ServiceOnBus, IsRefusedANameThatAnotherProcessHas) {
    RawClient raw(bus.address());
    ASSERT_TRUE(raw.own(NAME));
    void* handle = nullptr;
    EXPECT_EQ(TELLBUS_registerService(server, NAME, PATH, 0, echo, nullptr, &handle),
              TELLBUS_E_NAME_TAKEN);
    raw.disown(NAME);
    EXPECT_EQ(TELLBUS_registerService(server, NAME, PATH, 0, echo, nullptr, &handle), TELLBUS_OK);
}

TEST_F(ServiceOnBus, KeepsItsNameAgainstAnotherProcess) {
    serve(echo);
    RawClient raw(bus.address());
    EXPECT_NE(
        dbus_bus_request_name(raw.connection(), NAME, DBUS_NAME_FLAG_REPLACE_EXISTING, nullptr),
        DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER);
    EXPECT_THAT(call("any", "{}"), Succeeded("{}"));
}

TEST_F(ServiceOnBus, IsRefusedTheNameOfTheBus) {
    void* handle = nullptr;
    EXPECT_EQ(
        TELLBUS_registerService(server, "org.freedesktop.DBus", PATH, 0, echo, nullptr, &handle),
        TELLBUS_E_REMOTE);
}

TEST_F(ServiceOnBus, TakesAnyInterfaceOrNone) {
    serve(echo);
    RawClient raw(bus.address());
    for (char const* const interface :
         {NAME, "com.example.Unknown", static_cast<char const*>(nullptr)}) {
        EXPECT_EQ(raw.call(NAME, PATH, interface, "any"), "{}");
    }
}

TEST_F(ServiceOnBus, AnswersAtTheUniqueNameToo) {
    serve(echo);
    RawClient raw(bus.address());
    RawMessage const ask = RawClient::methodCall(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS,
                                                 DBUS_INTERFACE_DBUS, "GetNameOwner");
    RawClient::append(ask, NAME);
    EXPECT_EQ(raw.call(raw.call(ask).c_str(), PATH, nullptr, "any"), "{}");
}

TEST_F(ServiceOnBus, NeverSeesACallWithOtherArguments) {
    serve(requestInto, &requests);
    RawClient raw(bus.address());
    RawMessage const number = RawClient::methodCall(NAME, PATH, NAME, "any");
    dbus_int32_t const value = 5;
    dbus_message_append_args(number.get(), DBUS_TYPE_INT32, &value, DBUS_TYPE_INVALID);
    RawMessage const two = RawClient::methodCall(NAME, PATH, NAME, "any");
    RawClient::append(two, "one");
    RawClient::append(two, "two");
    EXPECT_EQ(raw.call(number), DBUS_ERROR_INVALID_ARGS);
    EXPECT_EQ(raw.call(two), DBUS_ERROR_INVALID_ARGS);
    EXPECT_EQ(requests.arrived(), 0U);
}

TEST_F(ServiceOnBus, GivesErrorsForPathsThatItDoesNotHave) {
    serve(echo);
    RawClient raw(bus.address());
    EXPECT_EQ(raw.call(NAME, "/nothing/here", NAME, "any"), DBUS_ERROR_UNKNOWN_OBJECT);
    EXPECT_EQ(raw.call(NAME, "/com/example", NAME, "any"), DBUS_ERROR_UNKNOWN_METHOD);
    EXPECT_EQ(raw.call(NAME, "/", NAME, "any"), DBUS_ERROR_UNKNOWN_METHOD);
}

TEST_F(ServiceOnBus, ReturnsErrorsByNameAndMessage) {
    serve(requestInto, &requests);
    auto answer = std::async(std::launch::async, [this] {
        RawClient raw(bus.address());
        return raw.call(NAME, PATH, NAME, "any");
    });
    EXPECT_EQ(TELLBUS_returnError(requests.next().context, "com.veldan.service.Error", "no"),
              TELLBUS_OK);
    EXPECT_EQ(answer.get(), "com.veldan.service.Error");
}

TEST_F(ServiceOnBus, SendsOneReplyOnly) {
    serve(requestInto, &requests);
    invoke(results, "any", "{}");
    void* const context = requests.next().context;
    EXPECT_EQ(TELLBUS_returnResult(context, "first"), TELLBUS_OK);
    EXPECT_EQ(TELLBUS_returnResult(context, "second"), TELLBUS_E_REPLIED);
    EXPECT_EQ(TELLBUS_returnError(context, "com.example.E", "third"), TELLBUS_E_REPLIED);
    EXPECT_THAT(results.next(), Succeeded("first"));
    TELLBUS_freeReqContext(context);
    EXPECT_EQ(TELLBUS_returnResult(context, "fourth"), TELLBUS_E_HANDLE);
    TELLBUS_freeReqContext(context);
}

TEST_F(ServiceOnBus, SendsTheReplyOfOneOfTwoThreadsThatAnswerAtTheSameTime) {
    constexpr std::size_t ROUNDS = 500;
    serve(requestInto, &requests);
    for (std::size_t round = 0; round < ROUNDS; ++round) {
        invoke(results, "any", "{}");
        void* const context = requests.next().context;
        auto const statuses =
            atTheSameTime([context] { return TELLBUS_returnResult(context, "one"); },
                          [context] { return TELLBUS_returnResult(context, "other"); });
        ASSERT_THAT(statuses, UnorderedElementsAre(TELLBUS_OK, TELLBUS_E_REPLIED));
        ASSERT_THAT(results.next(), Succeeded(statuses[0] == TELLBUS_OK ? "one" : "other"));
        TELLBUS_freeReqContext(context);
    }
    settle(client);
    EXPECT_EQ(results.arrived(), ROUNDS);
}

TEST_F(ServiceOnBus, MayTryAgainAfterATextThatCannotBeSent) {
    serve(requestInto, &requests);
    invoke(results, "any", "{}");
    void* const context = requests.next().context;
    EXPECT_EQ(TELLBUS_returnResult(context, "\xff"), TELLBUS_E_TEXT);
    EXPECT_EQ(TELLBUS_returnResult(context, "{}"), TELLBUS_OK);
    EXPECT_THAT(results.next(), Succeeded("{}"));
}

TEST_F(ServiceOnBus, TellsTheCallerOfAnAnswerThatCannotBeSent) {
    serve(requestInto, &requests);
    struct {
        std::string text;
        TELLBUS_tStatus status;
        char const* error;
    } const answers[] = {
        {std::string(TELLBUS_MAX_TEXT + 1, 'x'), TELLBUS_E_TOO_LARGE, DBUS_ERROR_LIMITS_EXCEEDED},
        {"\xff", TELLBUS_E_TEXT, DBUS_ERROR_FAILED},
    };
    for (auto const& answer : answers) {
        auto told = std::async(std::launch::async, [this] {
            RawClient raw(bus.address());
            return raw.call(NAME, PATH, NAME, "any");
        });
        void* const context = requests.next().context;
        EXPECT_EQ(TELLBUS_returnResult(context, answer.text.c_str()), answer.status);
        TELLBUS_freeReqContext(context);
        EXPECT_EQ(told.get(), answer.error);
    }
}

TEST_F(ServiceOnBus, LeavesTheCallerWithoutAnswerIfTheContextIsFreed) {
    serve(ignore);
    EXPECT_THAT(call("any", "{}", 50), Failed(TELLBUS_E_TIMEOUT));
}

TEST_F(ServiceOnBus, AnswersFromAnyThread) {
    serve(requestInto, &requests);
    invoke(results, "any", "{}");
    void* const context = requests.next().context;
    std::thread([context] { TELLBUS_returnResult(context, "from afar"); }).join();
    EXPECT_THAT(results.next(), Succeeded("from afar"));
}

TEST_F(ServiceOnBus, IsNotCalledAnyMoreWhenUnregisterHasReturned) {
    struct Count {
        std::atomic<int> inside{0};
        std::atomic<int> calls{0};
    } count;
    auto const counted = [](void* context, char const*, char const*, int, void* cookie) {
        auto& counter = *static_cast<Count*>(cookie);
        ++counter.inside;
        ++counter.calls;
        std::this_thread::yield();
        TELLBUS_freeReqContext(context);
        --counter.inside;
    };
    void* const handle = serve(counted, &count);
    for (int index = 0; index < 2000; ++index) {
        invoke(results, "any", "{}", 300);
    }
    while (count.calls == 0) {
        std::this_thread::yield();
    }
    EXPECT_EQ(TELLBUS_unregisterService(handle), TELLBUS_OK);
    int const calls = count.calls;
    EXPECT_EQ(count.inside, 0);
    settle(client);
    settle(server);
    EXPECT_EQ(count.calls, calls);
    EXPECT_TRUE(results.waitForArrivals(2000));
}

TEST_F(ServiceOnBus, MayUnregisterItselfInItsCallback) {
    struct Once {
        std::promise<void*> handle;
        Inbox<TELLBUS_tStatus> statuses;
    } once;
    auto const leaving = [](void* context, char const*, char const*, int, void* cookie) {
        auto& self = *static_cast<Once*>(cookie);
        TELLBUS_freeReqContext(context);
        self.statuses.put(TELLBUS_unregisterService(self.handle.get_future().get()));
    };
    once.handle.set_value(serve(leaving, &once));
    invoke(results, "any", "{}", 1000);
    EXPECT_EQ(once.statuses.next(), TELLBUS_OK);
    settle(server);
    EXPECT_THAT(call("any", "{}"), Failed(TELLBUS_E_NO_SERVICE));
}

TEST_F(ServiceOnBus, CannotWaitForTheBusInACallback) {
    struct Inside {
        void* connection;
        Inbox<TELLBUS_tStatus> statuses;
    } inside{server, {}};
    auto const waiting = [](void* context, char const*, char const*, int, void* cookie) {
        auto& self = *static_cast<Inside*>(cookie);
        unsigned int owned = 0;
        void* handle = nullptr;
        self.statuses.put(TELLBUS_nameHasOwner(self.connection, NAME, &owned));
        self.statuses.put(TELLBUS_registerService(self.connection, "com.example.New", "/new", 0,
                                                  echo, nullptr, &handle));
        self.statuses.put(TELLBUS_getConnection(0, 0, &handle));
        TELLBUS_returnResult(context, "still alive");
        TELLBUS_freeReqContext(context);
    };
    serve(waiting, &inside);
    EXPECT_THAT(call("any", "{}"), Succeeded("still alive"));
    for (int index = 0; index < 3; ++index) {
        EXPECT_EQ(inside.statuses.next(), TELLBUS_E_THREAD);
    }
}

TEST_F(ServiceOnBus, MayCloseItsConnectionInACallback) {
    Inbox<TELLBUS_tStatus> statuses;
    struct Closing {
        void* connection;
        Inbox<TELLBUS_tStatus> statuses;
    } closing{server, {}};
    auto const close = [](void* context, char const*, char const*, int, void* cookie) {
        auto& self = *static_cast<Closing*>(cookie);
        TELLBUS_returnResult(context, "bye");
        self.statuses.put(TELLBUS_closeConnection(self.connection));
    };
    serve(close, &closing);
    EXPECT_THAT(call("any", "{}"), Succeeded("bye"));
    EXPECT_EQ(closing.statuses.next(), TELLBUS_OK);
    EXPECT_FALSE(hasOwner());
}

TEST_F(ServiceOnBus, MayEndTheLibraryInACallback) {
    Inbox<bool> ended;
    auto const end = [](void* context, char const*, char const*, int, void* cookie) {
        TELLBUS_returnResult(context, "bye");
        TELLBUS_shutdown();
        static_cast<Inbox<bool>*>(cookie)->put(true);
    };
    serve(end, &ended);
    invoke(results, "any", "{}");
    EXPECT_TRUE(ended.next());
    EXPECT_EQ(results.arrived(), 1U);
    ASSERT_EQ(TELLBUS_initialize(), TELLBUS_OK);
    EXPECT_NE(connect(), nullptr);
}

TEST_F(ServiceOnBus, CannotBeginTheLibraryAnewInTheCallbackThatEndedIt) {
    Inbox<TELLBUS_tStatus> begun;
    auto const end = [](void* context, char const*, char const*, int, void* cookie) {
        TELLBUS_freeReqContext(context);
        TELLBUS_shutdown();
        static_cast<Inbox<TELLBUS_tStatus>*>(cookie)->put(TELLBUS_initialize());
    };
    serve(end, &begun);
    invoke(results, "any", "{}");
    EXPECT_EQ(begun.next(), TELLBUS_E_THREAD);
    ASSERT_EQ(TELLBUS_initialize(), TELLBUS_OK);
    EXPECT_NE(connect(), nullptr);
}

TEST_F(ServiceOnBus, ThatThrowsInItsCallbackDoesNotEndTheProcess) {
    auto const thrower = [](void* context, char const*, char const*, int, void*) {
        TELLBUS_freeReqContext(context);
        throw std::runtime_error("a careless service");
    };
    serve(thrower);
    EXPECT_THAT(call("any", "{}", 100), Failed(TELLBUS_E_TIMEOUT));
    settle(server);
}

TEST_F(ServiceOnBus, SaysOnceASecondThatItDroppedAWrongCallWithoutReply) {
    serve(ignore);
    RawClient raw(bus.address());
    testing::internal::CaptureStderr();
    for (int index = 0; index < 3; ++index) {
        RawMessage const number = RawClient::methodCall(NAME, PATH, NAME, "any");
        dbus_int32_t const value = 5;
        dbus_message_append_args(number.get(), DBUS_TYPE_INT32, &value, DBUS_TYPE_INVALID);
        RawMessage const elsewhere = RawClient::methodCall(NAME, "/elsewhere", NAME, "any");
        for (RawMessage const* const message : {&number, &elsewhere}) {
            dbus_message_set_no_reply(message->get(), TRUE);
            raw.send(*message);
        }
    }
    raw.call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetId");
    settle(server);
    std::string const said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(said, "libtellbus: dropped a call that wants no reply: " + std::string(PATH)
                        + " any from " + raw.name() + ": One string or nothing is expected\n");
}

TEST_F(ServiceOnBus, MayAnswerAgainAfterTheQueueWasFull) {
    void* const service = serve(requestInto, &requests);
    invoke(results, "any", "{}");
    void* const context = requests.next().context;
    bus.pause();
    std::string const large(std::size_t{1} * 1024 * 1024, 'x');
    while (TELLBUS_emit(service, "any", large.c_str()) == TELLBUS_OK) {
    }
    EXPECT_EQ(TELLBUS_returnResult(context, "{}"), TELLBUS_E_QUEUE_FULL);
    bus.resume();
    TELLBUS_tStatus status = TELLBUS_E_QUEUE_FULL;
    while (status == TELLBUS_E_QUEUE_FULL) {
        status = TELLBUS_returnResult(context, "{}");
        std::this_thread::yield();
    }
    EXPECT_EQ(status, TELLBUS_OK);
    EXPECT_THAT(results.next(), Succeeded("{}"));
    EXPECT_EQ(TELLBUS_returnResult(context, "{}"), TELLBUS_E_REPLIED);
    TELLBUS_freeReqContext(context);
}

TEST_F(ServiceOnBus, IsToldOfTheCloseWhileItWaitsForItsName) {
    bus.pause();
    Inbox<TELLBUS_tStatus> registered;
    auto const registering = [&] {
        void* handle = nullptr;
        registered.put(TELLBUS_registerService(server, NAME, PATH, 0, echo, nullptr, &handle));
    };
    std::thread one(registering);
    std::thread other(registering);
    // The later one is refused at once because the earlier one waits.
    EXPECT_EQ(registered.next(), TELLBUS_E_EXISTS);
    EXPECT_EQ(TELLBUS_closeConnection(server), TELLBUS_OK);
    EXPECT_EQ(registered.next(), TELLBUS_E_CLOSED);
    one.join();
    other.join();
    bus.resume();
}
