// What a call costs through libtellbus and the event server, against the least it can cost: an
// echo of one thread on bare libdbus.
//
// Each round makes one call of each kind, so that whatever else the machine does meets all of them
// alike. The servers are processes of their own on a bus of their own.

#include "bus/CSvcImplBase.h"
#include "bus/CTellbusEventRouter.h"
#include "bus/CTellbusRequest.h"
#include "support/PrivateBus.h"
#include "tellbus/tellbus.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <dbus/dbus.h>
#include <functional>
#include <memory>
#include <mutex>
#include <sys/prctl.h>
#include <vector>

namespace {

constexpr char BARE_NAME[] = "com.example.latency.Bare";
constexpr char FRAMEWORK_NAME[] = "com.example.latency.Framework";
constexpr char PATH[] = "/com/example/latency";
constexpr char METHOD[] = "getProperties";
constexpr char TEXT[] = "{\"props\":[\"transferStatus\",\"connectionStatus\",\"localStatus\"]}";

constexpr int WARM_UP = 2000;
constexpr int DEFAULT_ROUNDS = 20000;

constexpr double MEDIAN_LIMIT = 1.25;
constexpr double P99_LIMIT = 1.5;

[[noreturn]] void fail(char const* what) {
    std::fprintf(stderr, "call_latency: %s\n", what);
    std::exit(2);
}

/** A connection of bare libdbus. */
DBusConnection* connectBare(std::string const& address) {
    DBusConnection* const connection = dbus_connection_open_private(address.c_str(), nullptr);
    if (!connection || !dbus_bus_register(connection, nullptr)) {
        fail("no bus");
    }
    return connection;
}

// ---- the servers

void answerBare(DBusConnection* connection, DBusMessage* call) {
    char const* text = nullptr;
    if (!dbus_message_get_args(call, nullptr, DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID)) {
        return;
    }
    DBusMessage* const reply = dbus_message_new_method_return(call);
    dbus_message_append_args(reply, DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID);
    dbus_connection_send(connection, reply, nullptr);
    dbus_message_unref(reply);
}

void serveBare(std::string const& address) {
    DBusConnection* const connection = connectBare(address);
    dbus_bus_request_name(connection, BARE_NAME, DBUS_NAME_FLAG_DO_NOT_QUEUE, nullptr);
    while (dbus_connection_read_write(connection, -1)) {
        while (DBusMessage* const message = dbus_connection_pop_message(connection)) {
            if (dbus_message_get_type(message) == DBUS_MESSAGE_TYPE_METHOD_CALL) {
                answerBare(connection, message);
            }
            dbus_message_unref(message);
        }
    }
}

class EchoService : public CSvcImplBase {
public:
    EchoService() : CSvcImplBase(FRAMEWORK_NAME, PATH, true) {}

    void processTellbusRequest(CTellbusRequest* request) override {
        request->returnReply(TEXT, true);
    }
};

void serveFramework(std::string const& /*address*/) {
    EchoService const service;
    CTellbusEventRouter::getMe()->start();
}

/** Runs a server in a process of its own, which goes with this one. */
pid_t startServer(void (*serve)(std::string const&), std::string const& address) {
    pid_t const child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        serve(address);
        _exit(0);
    }
    return child;
}

// ---- the clients

class BareClient {
public:
    explicit BareClient(std::string const& address) : mConnection(connectBare(address)) {}
    ~BareClient() {
        dbus_connection_close(mConnection);
        dbus_connection_unref(mConnection);
    }
    BareClient(BareClient const&) = delete;
    BareClient& operator=(BareClient const&) = delete;

    bool nameIsOwned(char const* name) const {
        return dbus_bus_name_has_owner(mConnection, name, nullptr);
    }

    void call(char const* name) const {
        DBusMessage* const message = dbus_message_new_method_call(name, PATH, name, METHOD);
        char const* text = TEXT;
        dbus_message_append_args(message, DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID);
        DBusMessage* const reply =
            dbus_connection_send_with_reply_and_block(mConnection, message, -1, nullptr);
        char const* answer = "";
        if (!reply
            || !dbus_message_get_args(reply, nullptr, DBUS_TYPE_STRING, &answer, DBUS_TYPE_INVALID)
            || std::strcmp(answer, TEXT) != 0) {
            fail("a call had no or another answer");
        }
        dbus_message_unref(message);
        dbus_message_unref(reply);
    }

private:
    DBusConnection* mConnection;
};

class LibraryClient {
public:
    LibraryClient() {
        if (TELLBUS_FAILED(TELLBUS_initialize())
            || TELLBUS_FAILED(TELLBUS_getConnection(0, 0, &mConnection))) {
            fail("no connection");
        }
    }
    ~LibraryClient() { TELLBUS_shutdown(); }
    LibraryClient(LibraryClient const&) = delete;
    LibraryClient& operator=(LibraryClient const&) = delete;

    void call(char const* name) {
        mAnswered = false;
        if (TELLBUS_FAILED(TELLBUS_asyncInvoke(mConnection, name, PATH, METHOD, TEXT, false, 0,
                                               onResult, nullptr, this))) {
            fail("a call could not be made");
        }
        std::unique_lock lock(mMutex);
        mArrived.wait(lock, [this] { return mAnswered; });
    }

private:
    static void onResult(TELLBUS_tCallbackStatus const* status, char const* text, void* cookie) {
        auto& self = *static_cast<LibraryClient*>(cookie);
        if (TELLBUS_FAILED(status->status) || std::strcmp(text, TEXT) != 0) {
            fail("a call had no or another answer");
        }
        std::lock_guard const lock(self.mMutex);
        self.mAnswered = true;
        self.mArrived.notify_one();
    }

    void* mConnection = nullptr;
    std::mutex mMutex;
    std::condition_variable mArrived;
    bool mAnswered = false;
};

// ---- measuring

double processorMicroseconds(pid_t pid) {
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &time) != 0) {
        fail("no processor time");
    }
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

struct Kind {
    char const* title;
    pid_t server;
    std::function<void()> call;
    std::vector<double> microseconds;
    double processor = 0;

    void measure() {
        double const processorBefore = processorMicroseconds(server) + processorMicroseconds(0);
        auto const before = std::chrono::steady_clock::now();
        call();
        auto const took = std::chrono::steady_clock::now() - before;
        microseconds.push_back(std::chrono::duration<double, std::micro>(took).count());
        processor += processorMicroseconds(server) + processorMicroseconds(0) - processorBefore;
    }

    double quantile(double share) {
        auto const place =
            static_cast<std::ptrdiff_t>(share * static_cast<double>(microseconds.size() - 1));
        std::nth_element(microseconds.begin(), microseconds.begin() + place, microseconds.end());
        return microseconds[static_cast<std::size_t>(place)];
    }
};

void print(Kind& kind, Kind& floor) {
    double const median = kind.quantile(0.5);
    double const p99 = kind.quantile(0.99);
    std::printf("%-44s %8.1f %6.2f %8.1f %6.2f %8.1f\n", kind.title, median,
                median / floor.quantile(0.5), p99, p99 / floor.quantile(0.99),
                kind.processor / static_cast<double>(kind.microseconds.size()));
}

bool within(Kind& kind, Kind& floor) {
    return kind.quantile(0.5) <= MEDIAN_LIMIT * floor.quantile(0.5)
           && kind.quantile(0.99) <= P99_LIMIT * floor.quantile(0.99);
}

} // namespace

/** Usage: call_latency [rounds] */
int main(int argc, char** argv) {
    int const rounds = argc > 1 ? std::max(100, std::atoi(argv[1])) : DEFAULT_ROUNDS;
    PrivateBus bus;
    bus.use();
    pid_t const bare = startServer(serveBare, bus.address());
    pid_t const framework = startServer(serveFramework, bus.address());
    BareClient client(bus.address());
    while (!client.nameIsOwned(BARE_NAME) || !client.nameIsOwned(FRAMEWORK_NAME)) {
    }
    LibraryClient library;

    std::array<Kind, 3> kinds = {{
        {"bare client, bare echo (the floor)", bare, [&] { client.call(BARE_NAME); }, {}},
        {"bare client, libtellbus and event server",
         framework,
         [&] { client.call(FRAMEWORK_NAME); },
         {}},
        {"libtellbus client and event server",
         framework,
         [&] { library.call(FRAMEWORK_NAME); },
         {}},
    }};
    for (int round = 0; round < WARM_UP; ++round) {
        for (auto& kind : kinds) {
            kind.call();
        }
    }
    for (int round = 0; round < rounds; ++round) {
        for (auto& kind : kinds) {
            kind.measure();
        }
    }
    std::printf("%d rounds, microseconds a call\n%-44s %8s %6s %8s %6s %8s\n", rounds, "", "median",
                "x", "p99", "x", "cpu");
    bool ok = true;
    for (auto& kind : kinds) {
        print(kind, kinds.front());
        ok = ok && within(kind, kinds.front());
    }
    std::printf("limits: median x %.2f, p99 x %.2f: %s\n", MEDIAN_LIMIT, P99_LIMIT,
                ok ? "kept" : "EXCEEDED");
    for (pid_t const server : {bare, framework}) {
        kill(server, SIGKILL);
        waitpid(server, nullptr, 0);
    }
    return ok ? 0 : 1;
}
