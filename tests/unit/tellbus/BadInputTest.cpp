#include "OnBus.h"
#include "RawClient.h"

#include <vector>

using ::testing::AnyOf;
using ::testing::HasSubstr;

class BadBusInput : public OnBus {
protected:
    TELLBUS_tStatus registering(char const* name, char const* path) const {
        void* handle = nullptr;
        return TELLBUS_registerService(server, name, path, 0, echo, nullptr, &handle);
    }
    TELLBUS_tStatus invoking(char const* name, char const* path, char const* method,
                             char const* text = "{}") const {
        return TELLBUS_asyncInvoke(client, name, path, method, text, false, 0, resultInto, nullptr,
                                   &never);
    }
    TELLBUS_tStatus subscribing(char const* path, char const* member) const {
        void* handle = nullptr;
        return TELLBUS_subscribe(client, path, member, signalInto, nullptr, &handle);
    }
    mutable Inbox<Result> never;
};

namespace {

std::string const TOO_LONG = "com." + std::string(300, 'a');

std::vector<char const*> const BAD_NAMES = {"",
                                            "com",
                                            "com..example",
                                            ".com.example",
                                            "com.example.",
                                            "com.1two",
                                            "com.a b",
                                            "com.exa\xC3\xBCmple",
                                            "com/example",
                                            TOO_LONG.c_str(),
                                            "\xff\xfe",
                                            "org.freedesktop.DBus.Local"};

std::vector<char const*> const BAD_PATHS = {
    "",          "com/example",   "/com/",
    "//com",     "/com//example", "/com/exa-mple",
    "/com/\xff", "/a b",          "/org/freedesktop/DBus/Local"};

std::vector<char const*> const BAD_MEMBERS = {"", "1st", "a.b", "a b", "\xff", "me-mber", "a/b"};

std::vector<char const*> const BAD_TEXTS = {"\xff", "a\xC3", "\xED\xA0\x80", "\xC0\x80",
                                            "\xF5\x80\x80\x80"};

} // namespace

TEST_F(BadBusInput, NamesAreRefusedEverywhere) {
    unsigned int owned = 0;
    void* handle = nullptr;
    for (char const* const name : BAD_NAMES) {
        SCOPED_TRACE(name);
        EXPECT_EQ(registering(name, PATH), TELLBUS_E_NAME);
        EXPECT_EQ(invoking(name, PATH, "any"), TELLBUS_E_NAME);
        EXPECT_EQ(TELLBUS_nameHasOwner(client, name, &owned), TELLBUS_E_NAME);
        EXPECT_EQ(TELLBUS_subscribeOwnerChanged(client, name, ownerInto, nullptr, &handle),
                  TELLBUS_E_NAME);
    }
    EXPECT_EQ(registering(":1.5", PATH), TELLBUS_E_NAME);
    EXPECT_EQ(registering("com.no-interface.A", PATH), TELLBUS_E_NAME);
}

TEST_F(BadBusInput, PathsAreRefusedEverywhere) {
    for (char const* const path : BAD_PATHS) {
        SCOPED_TRACE(path);
        EXPECT_EQ(registering(NAME, path), TELLBUS_E_NAME);
        EXPECT_EQ(invoking(NAME, path, "any"), TELLBUS_E_NAME);
        EXPECT_EQ(subscribing(path, "any"), TELLBUS_E_NAME);
    }
    std::string const longest = "/" + std::string(TELLBUS_MAX_PATH, 'a');
    EXPECT_EQ(invoking(NAME, longest.c_str(), "any"), TELLBUS_E_NAME);
}

TEST_F(BadBusInput, PathsThatSpellNoNameCannotBeSubscribedTo) {
    for (char const* const path : {"/", "/single", "/com/1st"}) {
        EXPECT_EQ(subscribing(path, "any"), TELLBUS_E_NAME) << path;
    }
}

TEST_F(BadBusInput, MembersAreRefusedEverywhere) {
    void* const service = serve(echo);
    for (char const* const member : BAD_MEMBERS) {
        SCOPED_TRACE(member);
        EXPECT_EQ(invoking(NAME, PATH, member), TELLBUS_E_NAME);
        EXPECT_EQ(subscribing(PATH, member), TELLBUS_E_NAME);
        EXPECT_EQ(TELLBUS_emit(service, member, "{}"), TELLBUS_E_NAME);
    }
}

TEST_F(BadBusInput, TextThatIsNotUtf8IsRefusedEverywhere) {
    void* const service = serve(requestInto, &requests);
    invoke(results, "any", "{}");
    void* const context = requests.next().context;
    for (char const* const text : BAD_TEXTS) {
        EXPECT_EQ(invoking(NAME, PATH, "any", text), TELLBUS_E_TEXT);
        EXPECT_EQ(TELLBUS_emit(service, "any", text), TELLBUS_E_TEXT);
        EXPECT_EQ(TELLBUS_returnResult(context, text), TELLBUS_E_TEXT);
        EXPECT_EQ(TELLBUS_returnError(context, "com.example.E", text), TELLBUS_E_TEXT);
        EXPECT_EQ(TELLBUS_setIntrospection(service, text), TELLBUS_E_TEXT);
    }
    EXPECT_EQ(TELLBUS_returnError(context, "no name", "{}"), TELLBUS_E_NAME);
    EXPECT_EQ(TELLBUS_returnResult(context, "{}"), TELLBUS_OK);
    EXPECT_THAT(results.next(), Succeeded("{}"));
}

TEST_F(BadBusInput, TextThatNoBusWouldCarryIsRefused) {
    void* const service = serve(echo);
    std::string const large(TELLBUS_MAX_TEXT + std::size_t{1}, 'x');
    EXPECT_EQ(TELLBUS_emit(service, "any", large.c_str()), TELLBUS_E_TOO_LARGE);
    EXPECT_EQ(invoking(NAME, PATH, "any", large.c_str()), TELLBUS_E_TOO_LARGE);
}

TEST_F(BadBusInput, NullArgumentsAreRefused) {
    void* const service = serve(echo);
    void* handle = nullptr;
    unsigned int owned = 0;
    EXPECT_EQ(TELLBUS_getConnection(0, 0, nullptr), TELLBUS_E_ARGUMENT);
    EXPECT_EQ(registering(nullptr, PATH), TELLBUS_E_ARGUMENT);
    EXPECT_EQ(registering(NAME, nullptr), TELLBUS_E_ARGUMENT);
    EXPECT_EQ(TELLBUS_registerService(server, NAME, "/x", 0, nullptr, nullptr, &handle),
              TELLBUS_E_ARGUMENT);
    EXPECT_EQ(TELLBUS_registerService(server, NAME, "/x", 0, echo, nullptr, nullptr),
              TELLBUS_E_ARGUMENT);
    EXPECT_EQ(invoking(nullptr, PATH, "any"), TELLBUS_E_ARGUMENT);
    EXPECT_EQ(invoking(NAME, nullptr, "any"), TELLBUS_E_ARGUMENT);
    EXPECT_EQ(invoking(NAME, PATH, nullptr), TELLBUS_E_ARGUMENT);
    EXPECT_EQ(
        TELLBUS_asyncInvoke(client, NAME, PATH, "any", "{}", false, 0, nullptr, nullptr, nullptr),
        TELLBUS_E_ARGUMENT);
    EXPECT_EQ(subscribing(nullptr, "any"), TELLBUS_E_ARGUMENT);
    EXPECT_EQ(subscribing(PATH, nullptr), TELLBUS_E_ARGUMENT);
    EXPECT_EQ(TELLBUS_subscribe(client, PATH, "any", nullptr, nullptr, &handle),
              TELLBUS_E_ARGUMENT);
    EXPECT_EQ(TELLBUS_subscribe(client, PATH, "any", signalInto, nullptr, nullptr),
              TELLBUS_E_ARGUMENT);
    EXPECT_EQ(TELLBUS_subscribeOwnerChanged(client, nullptr, ownerInto, nullptr, &handle),
              TELLBUS_E_ARGUMENT);
    EXPECT_EQ(TELLBUS_nameHasOwner(client, nullptr, &owned), TELLBUS_E_ARGUMENT);
    EXPECT_EQ(TELLBUS_nameHasOwner(client, NAME, nullptr), TELLBUS_E_ARGUMENT);
    EXPECT_EQ(TELLBUS_emit(service, nullptr, "{}"), TELLBUS_E_ARGUMENT);
    EXPECT_EQ(TELLBUS_emit(service, "any", nullptr), TELLBUS_E_ARGUMENT);
    EXPECT_EQ(TELLBUS_returnResult(nullptr, nullptr), TELLBUS_E_ARGUMENT);
    EXPECT_EQ(TELLBUS_returnError(nullptr, nullptr, "{}"), TELLBUS_E_ARGUMENT);
}

TEST_F(BadBusInput, HandlesThatStandForNothingAreRefused) {
    int local = 0;
    void* const service = serve(echo);
    void* closed = connect();
    ASSERT_EQ(TELLBUS_closeConnection(closed), TELLBUS_OK);
    void* gone = serve(echo, nullptr, NAME, "/gone");
    ASSERT_EQ(TELLBUS_unregisterService(gone), TELLBUS_OK);
    for (void* const bad :
         {static_cast<void*>(nullptr), static_cast<void*>(&local), closed, gone}) {
        void* handle = nullptr;
        unsigned int owned = 0;
        EXPECT_EQ(TELLBUS_closeConnection(bad), TELLBUS_E_HANDLE);
        EXPECT_EQ(TELLBUS_registerService(bad, NAME, "/x", 0, echo, nullptr, &handle),
                  TELLBUS_E_HANDLE);
        EXPECT_EQ(TELLBUS_unregisterService(bad), TELLBUS_E_HANDLE);
        EXPECT_EQ(TELLBUS_setIntrospection(bad, "<node/>"), TELLBUS_E_HANDLE);
        EXPECT_EQ(TELLBUS_asyncInvoke(bad, NAME, PATH, "any", "{}", false, 0, resultInto, nullptr,
                                      &never),
                  TELLBUS_E_HANDLE);
        EXPECT_EQ(TELLBUS_subscribe(bad, PATH, "any", signalInto, nullptr, &handle),
                  TELLBUS_E_HANDLE);
        EXPECT_EQ(TELLBUS_subscribeOwnerChanged(bad, NAME, ownerInto, nullptr, &handle),
                  TELLBUS_E_HANDLE);
        EXPECT_EQ(TELLBUS_asyncUnsubscribe(bad, statusInto, nullptr), TELLBUS_E_HANDLE);
        EXPECT_EQ(TELLBUS_nameHasOwner(bad, NAME, &owned), TELLBUS_E_HANDLE);
        EXPECT_EQ(TELLBUS_emit(bad, "any", "{}"), TELLBUS_E_HANDLE);
        EXPECT_EQ(TELLBUS_returnResult(bad, "{}"), TELLBUS_E_HANDLE);
        EXPECT_EQ(TELLBUS_returnError(bad, "com.example.E", "{}"), TELLBUS_E_HANDLE);
        TELLBUS_freeReqContext(bad);
        EXPECT_EQ(handle, nullptr);
    }
    EXPECT_EQ(TELLBUS_emit(server, "any", "{}"), TELLBUS_E_HANDLE);
    EXPECT_EQ(TELLBUS_closeConnection(service), TELLBUS_E_HANDLE);
    EXPECT_EQ(never.arrived(), 0U);
}

TEST_F(BadBusInput, HandlesGoWithTheirConnection) {
    Inbox<Signal> signals;
    void* const service = serve(requestInto, &requests);
    void* subscription = nullptr;
    TELLBUS_subscribe(server, PATH, "any", signalInto, &signals, &subscription);
    invoke(results, "any", "{}");
    void* const context = requests.next().context;
    EXPECT_EQ(TELLBUS_closeConnection(server), TELLBUS_OK);
    EXPECT_EQ(TELLBUS_emit(service, "any", "{}"), TELLBUS_E_HANDLE);
    EXPECT_EQ(TELLBUS_unregisterService(service), TELLBUS_E_HANDLE);
    EXPECT_EQ(TELLBUS_asyncUnsubscribe(subscription, statusInto, nullptr), TELLBUS_E_HANDLE);
    EXPECT_EQ(TELLBUS_returnResult(context, "{}"), TELLBUS_E_HANDLE);
    TELLBUS_freeReqContext(context);
    EXPECT_THAT(results.next(), Failed(TELLBUS_E_NO_REPLY));
}

TEST_F(BadBusInput, EverythingFailsBeforeTheBeginningAndAfterTheEnd) {
    void* const service = serve(echo);
    TELLBUS_shutdown();
    void* handle = nullptr;
    EXPECT_EQ(TELLBUS_getConnection(0, 0, &handle), TELLBUS_E_NOT_INITIALIZED);
    EXPECT_EQ(TELLBUS_emit(service, "any", "{}"), TELLBUS_E_HANDLE);
    EXPECT_EQ(TELLBUS_closeConnection(server), TELLBUS_E_HANDLE);
    TELLBUS_shutdown();
}

TEST_F(BadBusInput, AnotherUserOfTheLibraryKeepsItAlive) {
    ASSERT_EQ(TELLBUS_initialize(), TELLBUS_OK);
    TELLBUS_shutdown();
    serve(echo);
    EXPECT_THAT(call("any", "{}"), Succeeded("{}"));
}

TEST_F(BadBusInput, ALaterThreadIsNotTakenForTheLibrarysOldOne) {
    TELLBUS_shutdown();
    // A new thread usually gets the stack, and so the id, of the one that ended last.
    for (int round = 0; round < 10; ++round) {
        ASSERT_EQ(TELLBUS_initialize(), TELLBUS_OK);
        TELLBUS_shutdown();
        std::thread([] {
            EXPECT_EQ(TELLBUS_initialize(), TELLBUS_OK);
            EXPECT_NE(connect(), nullptr);
            TELLBUS_shutdown();
        }).join();
    }
}

TEST_F(BadBusInput, AConnectionBesideAShutdownIsOpenedOrRefusedAtOnce) {
    for (int round = 0; round < 200; ++round) {
        auto const before = std::chrono::steady_clock::now();
        ASSERT_EQ(TELLBUS_initialize(), TELLBUS_OK);
        TELLBUS_shutdown();
        ASSERT_EQ(TELLBUS_initialize(), TELLBUS_OK);
        auto opened = std::async(std::launch::async, [] {
            void* connection = nullptr;
            return TELLBUS_getConnection(0, 0, &connection);
        });
        TELLBUS_shutdown();
        TELLBUS_shutdown();
        EXPECT_THAT(opened.get(), AnyOf(TELLBUS_OK, TELLBUS_E_CLOSED, TELLBUS_E_NOT_INITIALIZED));
        // Nobody waited ten seconds for a thread that had ended.
        EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(8));
    }
}

/** On a bus that carries messages of up to 32 MiB, as buses do. */
class BadInputOnAnOrdinaryBus : public OnBus {
protected:
    static constexpr std::size_t LONGEST = 32 * PrivateBus::MEBIBYTE;

    BadInputOnAnOrdinaryBus()
        : OnBus({PrivateBus::FAR_AWAY, PrivateBus::FAR_AWAY, LONGEST}), other(bus.address()) {}

    RawClient other;
};

TEST_F(BadInputOnAnOrdinaryBus, APathAsLongAsAMessageIsUnknown) {
    serve(echo);
    // What surrounds a path in a call is less than what surrounds a text in an error.
    for (std::size_t const header : {104U, 120U, 136U}) {
        std::string const path = "/" + std::string(LONGEST - header, 'a');
        EXPECT_EQ(other.call(":1.0", path.c_str(), nullptr, "any"), DBUS_ERROR_UNKNOWN_OBJECT);
        EXPECT_THAT(call("any", "{}"), Succeeded("{}"));
    }
}

TEST_F(BadInputOnAnOrdinaryBus, ALongPathOfACallWithoutReplyIsAShortLine) {
    serve(echo);
    std::string const path = "/" + std::string(PrivateBus::MEBIBYTE, 'a');
    RawMessage const call = RawClient::methodCall(NAME, path.c_str(), nullptr, "any");
    dbus_message_set_no_reply(call.get(), TRUE);
    testing::internal::CaptureStderr();
    other.send(call);
    other.call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetId");
    settle(server);
    std::string const line = testing::internal::GetCapturedStderr();
    EXPECT_THAT(line, HasSubstr("No such object: /aaaa"));
    EXPECT_LT(line.size(), 1000U);
}

TEST_F(BadInputOnAnOrdinaryBus, DescriptionsLongerThanAMessageAreAnError) {
    std::string const text =
        "<interface name=\"a.b\">" + std::string(20 * PrivateBus::MEBIBYTE, ' ') + "</interface>";
    EXPECT_EQ(TELLBUS_setIntrospection(serve(echo), text.c_str()), TELLBUS_OK);
    EXPECT_EQ(TELLBUS_setIntrospection(serve(echo, nullptr, "com.example.two.Echo"), text.c_str()),
              TELLBUS_OK);
    EXPECT_EQ(other.call(NAME, PATH, DBUS_INTERFACE_INTROSPECTABLE, "Introspect"),
              DBUS_ERROR_LIMITS_EXCEEDED);
    EXPECT_THAT(call("any", "{}"), Succeeded("{}"));
}

TEST(BadBus, FailsTheConnectionAtOnce) {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    ASSERT_EQ(TELLBUS_initialize(), TELLBUS_OK);
    void* connection = nullptr;
    EXPECT_EQ(TELLBUS_getConnection(0, 0, &connection), TELLBUS_E_NO_BUS);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "nonsense", 1);
    EXPECT_EQ(TELLBUS_getConnection(0, 0, &connection), TELLBUS_E_NO_BUS);
    EXPECT_EQ(connection, nullptr);
    TELLBUS_shutdown();
}

TEST(StarterBus, ComesBeforeTheSystemBus) {
    PrivateBus bus;
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    setenv("DBUS_STARTER_ADDRESS", bus.address().c_str(), 1);
    ASSERT_EQ(TELLBUS_initialize(), TELLBUS_OK);
    void* connection = nullptr;
    EXPECT_EQ(TELLBUS_getConnection(0, 0, &connection), TELLBUS_OK);
    TELLBUS_shutdown();
}
