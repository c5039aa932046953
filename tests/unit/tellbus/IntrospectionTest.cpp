#include "OnBus.h"
#include "RawClient.h"

#include "support/OutputOf.h"
#include "support/TempDir.h"

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

constexpr char DESCRIPTION[] = R"(<?xml version="1.0"?>
<!-- an <interface name="in.a.comment"> -->
<node>
  <interface name="com.example.one.Echo">
    <method name="tagRequest">
      <arg name="parameters" type="s" direction="in"/>
      <arg name="reply" type="s" direction="out"/>
    </method>
    <signal name="localStatus">
      <arg name="status" type="s"/>
    </signal>
  </interface>
</node>
)";

/** What libdbus knows the machine by, nothing if the machine has no id. */
std::optional<std::string> machineId() {
    constexpr std::size_t LENGTH = 32;
    for (char const* const path : {"/var/lib/dbus/machine-id", "/etc/machine-id"}) {
        std::ifstream file(path);
        std::string id;
        if (file >> id && id.size() == LENGTH) {
            return id;
        }
    }
    return std::nullopt;
}

} // namespace

class IntrospectionOnBus : public OnBus {
protected:
    IntrospectionOnBus() : raw(bus.address()) {
        setenv("XDG_DATA_HOME", home.path().c_str(), 1);
        setenv("XDG_DATA_DIRS", (":" + dirs.path("none") + ":" + dirs.path()).c_str(), 1);
    }

    static void install(TempDir const& folder, std::string const& text) {
        std::filesystem::create_directories(folder.path("dbus-1/interfaces"));
        folder.write("dbus-1/interfaces/com.example.one.Echo.xml", text);
    }

    /** What gdbus prints about the object for people. */
    std::string shownByGdbus() const {
        return outputOf({"gdbus", "introspect", "--address", bus.address(), "--dest", NAME,
                         "--object-path", PATH});
    }

    std::string introspect(char const* path) {
        return raw.call(NAME, path, DBUS_INTERFACE_INTROSPECTABLE, "Introspect");
    }

    std::string peer(char const* path, char const* member) {
        return raw.call(NAME, path, DBUS_INTERFACE_PEER, member);
    }

    TempDir home;
    TempDir dirs;
    RawClient raw;
};

TEST_F(IntrospectionOnBus, ShowsTheDescriptionOfTheCaller) {
    void* const service = serve(echo);
    EXPECT_EQ(TELLBUS_setIntrospection(service, DESCRIPTION), TELLBUS_OK);
    std::string const data = introspect(PATH);
    EXPECT_THAT(data, AllOf(HasSubstr("<method name=\"tagRequest\">"),
                            HasSubstr("<signal name=\"localStatus\">"),
                            HasSubstr("org.freedesktop.DBus.Introspectable"),
                            HasSubstr("org.freedesktop.DBus.Peer"),
                            HasSubstr("org.freedesktop.DBus.Properties"),
                            Not(HasSubstr("in.a.comment"))));
}

TEST_F(IntrospectionOnBus, ShowsTheInstalledDescription) {
    install(dirs, DESCRIPTION);
    serve(echo);
    EXPECT_THAT(introspect(PATH), HasSubstr("tagRequest"));
}

TEST_F(IntrospectionOnBus, ReadsTheInstalledDescriptionWhenAsked) {
    serve(echo);
    EXPECT_THAT(introspect(PATH), Not(HasSubstr("tagRequest")));
    install(dirs, DESCRIPTION);
    EXPECT_THAT(introspect(PATH), HasSubstr("tagRequest"));
}

TEST_F(IntrospectionOnBus, PrefersTheUsersDescriptionAndTheCallersToBoth) {
    install(dirs, "<node><interface name='installed'></interface></node>");
    install(home, "<node><interface name='users'></interface></node>");
    void* const service = serve(echo);
    EXPECT_THAT(introspect(PATH), AllOf(HasSubstr("users"), Not(HasSubstr("installed"))));
    TELLBUS_setIntrospection(service, "<node><interface name='callers'></interface></node>");
    EXPECT_THAT(introspect(PATH), AllOf(HasSubstr("callers"), Not(HasSubstr("users"))));
    TELLBUS_setIntrospection(service, nullptr);
    EXPECT_THAT(introspect(PATH), HasSubstr("users"));
}

TEST_F(IntrospectionOnBus, PassesOverAFileThatIsNoText) {
    install(home, "<interface name='bad\xff'></interface>");
    install(dirs, DESCRIPTION);
    serve(echo);
    testing::internal::CaptureStderr();
    EXPECT_THAT(introspect(PATH), HasSubstr("tagRequest"));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("cannot use an interface description"));
}

TEST_F(IntrospectionOnBus, LeadsFromTheRootToEveryObject) {
    serve(echo);
    serve(echo, nullptr, NAME, "/com/example/two");
    EXPECT_THAT(introspect("/"), HasSubstr("<node name=\"com\"/>"));
    EXPECT_THAT(introspect("/com"), HasSubstr("<node name=\"example\"/>"));
    EXPECT_THAT(introspect("/com/example"),
                AllOf(HasSubstr("<node name=\"one\"/>"), HasSubstr("<node name=\"two\"/>")));
    EXPECT_THAT(introspect("/com/example/one"), HasSubstr("<node name=\"Echo\"/>"));
    EXPECT_THAT(introspect(PATH), Not(HasSubstr("<node name=")));
    EXPECT_EQ(introspect("/com/exam"), DBUS_ERROR_UNKNOWN_OBJECT);
    EXPECT_EQ(introspect("/elsewhere"), DBUS_ERROR_UNKNOWN_OBJECT);
}

TEST_F(IntrospectionOnBus, ServesTheRootObject) {
    serve(echo, nullptr, NAME, "/");
    EXPECT_EQ(raw.call(NAME, "/", NAME, "any"), "{}");
    EXPECT_THAT(introspect("/"), HasSubstr("Peer"));
}

TEST_F(IntrospectionOnBus, AnswersAsPeer) {
    serve(echo);
    EXPECT_EQ(peer(PATH, "Ping"), "");
    EXPECT_EQ(peer("/com", "Ping"), "");
    EXPECT_EQ(peer(PATH, "Other"), DBUS_ERROR_UNKNOWN_METHOD);
}

TEST_F(IntrospectionOnBus, TellsTheIdOfTheMachineIfItHasOne) {
    serve(echo);
    EXPECT_EQ(peer(PATH, "GetMachineId"), machineId().value_or(DBUS_ERROR_FAILED));
}

TEST_F(IntrospectionOnBus, RefusesArgumentsAndOtherMethods) {
    serve(echo);
    RawMessage const ask =
        RawClient::methodCall(NAME, PATH, DBUS_INTERFACE_INTROSPECTABLE, "Introspect");
    RawClient::append(ask, "argument");
    EXPECT_EQ(raw.call(ask), DBUS_ERROR_INVALID_ARGS);
    RawMessage const ping = RawClient::methodCall(NAME, PATH, DBUS_INTERFACE_PEER, "Ping");
    RawClient::append(ping, "argument");
    EXPECT_EQ(raw.call(ping), DBUS_ERROR_INVALID_ARGS);
    EXPECT_EQ(raw.call(NAME, PATH, DBUS_INTERFACE_INTROSPECTABLE, "Other"),
              DBUS_ERROR_UNKNOWN_METHOD);
}

TEST_F(IntrospectionOnBus, ShowsWhatTheLibraryAnswersItself) {
    serve(echo);
    EXPECT_THAT(raw.call(NAME, PATH, DBUS_INTERFACE_INTROSPECTABLE, "Introspect"),
                AllOf(HasSubstr(R"(<interface name="org.freedesktop.DBus.Introspectable">
    <method name="Introspect">
      <arg name="data" type="s" direction="out"/>
    </method>
  </interface>)"),
                      HasSubstr(R"(<interface name="org.freedesktop.DBus.Peer">
    <method name="Ping"/>
    <method name="GetMachineId">
      <arg name="machine_uuid" type="s" direction="out"/>
    </method>
  </interface>)")));
}

TEST_F(IntrospectionOnBus, NeverReachesTheService) {
    serve(requestInto, &requests);
    introspect(PATH);
    peer(PATH, "Ping");
    EXPECT_EQ(requests.arrived(), 0U);
}

TEST_F(IntrospectionOnBus, IsUnderstoodByBusctl) {
    install(dirs, DESCRIPTION);
    serve(echo);
    std::string const address = "--address=" + bus.address();
    EXPECT_THAT(outputOf({"busctl", address, "introspect", NAME, PATH}),
                AllOf(HasSubstr(".tagRequest"), HasSubstr(".localStatus")));
    EXPECT_THAT(outputOf({"busctl", address, "tree", NAME}), HasSubstr(PATH));
}

TEST_F(IntrospectionOnBus, IsUnderstoodByGdbus) {
    install(dirs, DESCRIPTION);
    serve(echo);
    EXPECT_THAT(shownByGdbus(),
                AllOf(HasSubstr("tagRequest(in  s parameters,"), HasSubstr("out s reply);"),
                      HasSubstr("localStatus(s status);")));
}

TEST_F(IntrospectionOnBus, OfTheServiceListsFourMethodsAndThreeSignals) {
    std::ifstream const file(SONGLATCH_INTERFACE_FILE);
    std::stringstream text;
    text << file.rdbuf();
    TELLBUS_setIntrospection(serve(echo), text.str().c_str());
    std::string const shown = shownByGdbus();
    for (char const* const method :
         {"tagRequest", "clearAllLocalTags", "getProperties", "checkTag"}) {
        EXPECT_THAT(shown, HasSubstr(std::string(method) + "(in  s parameters,"));
    }
    for (char const* const signal : {"localStatus", "connectionStatus", "transferStatus"}) {
        EXPECT_THAT(shown, HasSubstr(std::string(signal) + "(s status);"));
    }
}
