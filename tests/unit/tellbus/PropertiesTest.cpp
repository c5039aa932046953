#include "OnBus.h"
#include "RawClient.h"

#include "support/OutputOf.h"

using ::testing::HasSubstr;

class PropertiesOnBus : public OnBus {
protected:
    PropertiesOnBus() : raw(bus.address()) { serve(requestInto, &requests); }

    static RawMessage toProperties(char const* member, std::initializer_list<char const*> texts,
                                   char const* path = PATH) {
        RawMessage call = RawClient::methodCall(NAME, path, DBUS_INTERFACE_PROPERTIES, member);
        for (char const* const text : texts) {
            RawClient::append(call, text);
        }
        return call;
    }

    static RawMessage set() {
        RawMessage call = toProperties("Set", {NAME, "any"});
        DBusMessageIter arguments;
        DBusMessageIter value;
        dbus_message_iter_init_append(call.get(), &arguments);
        dbus_message_iter_open_container(&arguments, DBUS_TYPE_VARIANT, "b", &value);
        dbus_bool_t const yes = TRUE;
        dbus_message_iter_append_basic(&value, DBUS_TYPE_BOOLEAN, &yes);
        dbus_message_iter_close_container(&arguments, &value);
        return call;
    }

    RawClient raw;
};

TEST_F(PropertiesOnBus, AreAnEmptyDictionary) {
    EXPECT_EQ(raw.typesOf(toProperties("GetAll", {NAME})), "a{sv}");
    EXPECT_EQ(raw.typesOf(toProperties("GetAll", {""}, "/com/example")), "a{sv}");
}

TEST_F(PropertiesOnBus, AreNotThereToBeReadOrSet) {
    EXPECT_EQ(raw.typesOf(toProperties("Get", {NAME, "any"})), DBUS_ERROR_UNKNOWN_PROPERTY);
    EXPECT_EQ(raw.typesOf(set()), DBUS_ERROR_UNKNOWN_PROPERTY);
}

TEST_F(PropertiesOnBus, RefuseOtherArgumentsAndMethods) {
    EXPECT_EQ(raw.typesOf(toProperties("GetAll", {})), DBUS_ERROR_INVALID_ARGS);
    EXPECT_EQ(raw.typesOf(toProperties("Get", {NAME})), DBUS_ERROR_INVALID_ARGS);
    EXPECT_EQ(raw.typesOf(toProperties("Set", {NAME, "any"})), DBUS_ERROR_INVALID_ARGS);
    EXPECT_EQ(raw.typesOf(toProperties("Other", {NAME})), DBUS_ERROR_UNKNOWN_METHOD);
}

TEST_F(PropertiesOnBus, BelongToAnObject) {
    EXPECT_EQ(raw.typesOf(toProperties("GetAll", {NAME}, "/elsewhere")), DBUS_ERROR_UNKNOWN_OBJECT);
}

TEST_F(PropertiesOnBus, NeverReachTheService) {
    raw.call(toProperties("GetAll", {NAME}));
    raw.call(toProperties("Get", {NAME}));
    EXPECT_EQ(requests.arrived(), 0U);
}

TEST_F(PropertiesOnBus, AreAskedForByBusctl) {
    EXPECT_THAT(outputOf({"busctl", "--address=" + bus.address(), "call", NAME, PATH,
                          DBUS_INTERFACE_PROPERTIES, "GetAll", "s", NAME}),
                HasSubstr("a{sv} 0"));
}
