#pragma once

#include "support/PrivateBus.h"
#include "tellbus/tellbus.h"

#include "Inbox.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <thread>

// What the tests of libtellbus share: a bus, connections to it, and callbacks that land in inboxes.

constexpr char NAME[] = "com.example.one.Echo";
constexpr char PATH[] = "/com/example/one/Echo";

struct Result {
    TELLBUS_tStatus status;
    std::optional<std::string> text;
    std::thread::id thread;
};

struct Signal {
    std::string name;
    std::string data;
};
inline bool operator==(Signal const& one, Signal const& other) {
    return one.name == other.name && one.data == other.data;
}
inline std::ostream& operator<<(std::ostream& stream, Signal const& signal) {
    return stream << signal.name << " " << signal.data;
}

struct OwnerChange {
    std::string name;
    std::string before;
    std::string now;
};

struct Request {
    void* context;
    std::string method;
    std::optional<std::string> parameters;
    bool noReply;
    std::thread::id thread;
};

inline std::optional<std::string> optionalText(char const* text) {
    return text ? std::optional<std::string>(text) : std::nullopt;
}

// The callbacks: the cookie is the inbox.

inline void resultInto(TELLBUS_tCallbackStatus const* status, char const* text, void* inbox) {
    static_cast<Inbox<Result>*>(inbox)->put(
        {status->status, optionalText(text), std::this_thread::get_id()});
}
inline void signalInto(char const* name, char const* data, void* inbox) {
    static_cast<Inbox<Signal>*>(inbox)->put({name, data});
}
inline void ownerInto(char const* name, char const* before, char const* now, void* inbox) {
    static_cast<Inbox<OwnerChange>*>(inbox)->put({name, before, now});
}
inline void statusInto(TELLBUS_tCallbackStatus const* status, void* inbox) {
    static_cast<Inbox<TELLBUS_tStatus>*>(inbox)->put(status->status);
}
inline void requestInto(void* context, char const* method, char const* parameters, int noReply,
                        void* inbox) {
    static_cast<Inbox<Request>*>(inbox)->put(
        {context, method, optionalText(parameters), noReply != 0, std::this_thread::get_id()});
}

/** A service callback that gives the parameters back; the cookie is not used. */
inline void echo(void* context, char const* /*method*/, char const* parameters, int /*noReply*/,
                 void* /*cookie*/) {
    TELLBUS_returnResult(context, parameters ? parameters : "{}");
    TELLBUS_freeReqContext(context);
}

/** A service callback that never answers. */
inline void ignore(void* context, char const* /*method*/, char const* /*parameters*/,
                   int /*noReply*/, void* /*cookie*/) {
    TELLBUS_freeReqContext(context);
}

/** The kernel's id of the library's thread, nothing if there is none. */
inline std::optional<std::string> libraryThread() {
    for (auto const& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(entry.path() / "comm");
        std::string name;
        if (std::getline(file, name) && name == "tellbus") {
            return entry.path().filename().string();
        }
    }
    return std::nullopt;
}

/** Holds the library's thread in a callback until it is let go. */
class HeldThread {
public:
    explicit HeldThread(void* connection) {
        EXPECT_EQ(TELLBUS_asyncInvoke(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                      "GetId", nullptr, false, 0, hold, nullptr, this),
                  TELLBUS_OK);
        mHeld.get_future().wait();
    }
    ~HeldThread() { mGo.set_value(); }
    HeldThread(HeldThread const&) = delete;
    HeldThread& operator=(HeldThread const&) = delete;

private:
    static void hold(TELLBUS_tCallbackStatus const* /*status*/, char const* /*result*/,
                     void* self) {
        auto& held = *static_cast<HeldThread*>(self);
        auto const go = held.mGo.get_future();
        held.mHeld.set_value();
        go.wait();
    }

    std::promise<void> mHeld;
    std::promise<void> mGo;
};

/** A bus, the library, and two connections: one to serve, one to call. */
class OnBus : public ::testing::Test {
protected:
    explicit OnBus(PrivateBus::Limits const& limits = PrivateBus::Limits()) : bus(limits) {
        bus.use();
        EXPECT_EQ(TELLBUS_initialize(), TELLBUS_OK);
        server = connect();
        client = connect();
    }
    ~OnBus() override { TELLBUS_shutdown(); }

    /** While the inboxes of the test's class are still there: callbacks may come until now. */
    void TearDown() override { TELLBUS_shutdown(); }

    static void* connect() {
        void* connection = nullptr;
        EXPECT_EQ(TELLBUS_getConnection(0, 0, &connection), TELLBUS_OK);
        return connection;
    }

    void* serve(TELLBUS_fRequest callback, void* cookie = nullptr, char const* name = NAME,
                char const* path = PATH) const {
        void* handle = nullptr;
        EXPECT_EQ(TELLBUS_registerService(server, name, path, 0, callback, cookie, &handle),
                  TELLBUS_OK);
        return handle;
    }

    TELLBUS_tStatus invoke(Inbox<Result>& into, char const* method, char const* parameters,
                           unsigned int timeout = 0, char const* name = NAME,
                           char const* path = PATH) const {
        void* token = nullptr;
        return TELLBUS_asyncInvoke(client, name, path, method, parameters, false, timeout,
                                   resultInto, &token, &into);
    }

    /** Calls and waits for the result. */
    Result call(char const* method, char const* parameters, unsigned int timeout = 0,
                char const* name = NAME, char const* path = PATH) const {
        Inbox<Result> answer;
        EXPECT_EQ(invoke(answer, method, parameters, timeout, name, path), TELLBUS_OK);
        return answer.next();
    }

    void* subscribe(Inbox<Signal>& into, char const* member, char const* path = PATH) const {
        void* handle = nullptr;
        EXPECT_EQ(TELLBUS_subscribe(client, path, member, signalInto, &into, &handle), TELLBUS_OK);
        return handle;
    }

    /** Subscribes, and the bus knows it when this returns: others may send now. */
    void* hear(Inbox<Signal>& into, char const* member, char const* path = PATH) const {
        void* const handle = subscribe(into, member, path);
        settle(client);
        return handle;
    }

    /** Returns when all that the bus sent to a connection before has been handed over. */
    static void settle(void* connection) {
        unsigned int hasOwner = 0;
        EXPECT_EQ(TELLBUS_nameHasOwner(connection, NAME, &hasOwner), TELLBUS_OK);
    }

    bool hasOwner(char const* name = NAME) const {
        unsigned int owned = 0;
        EXPECT_EQ(TELLBUS_nameHasOwner(client, name, &owned), TELLBUS_OK);
        return owned != 0;
    }

    PrivateBus bus;
    void* server = nullptr;
    void* client = nullptr;

    // Here, because callbacks may still come while the library shuts down.
    Inbox<Request> requests;
    Inbox<Result> results;
};

MATCHER_P(Succeeded, text, "") {
    *result_listener << "status " << std::hex << arg.status;
    return arg.status == TELLBUS_OK && arg.text == std::optional<std::string>(text);
}

MATCHER_P(Failed, status, "") {
    *result_listener << "status " << std::hex << arg.status;
    return arg.status == status && !arg.text;
}
