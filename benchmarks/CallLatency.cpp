// What a call costs through libtellbus and the event server, against the least it can cost: an
// echo of one thread on bare libdbus.
//
// Each round makes one call of each kind, so that whatever else the machine does meets all of them
// alike. Each kind has a server process of its own, so that none finds its server warmed up by
// another kind's call. The bus is one for this program.

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
#include <optional>
#include <sys/prctl.h>
#include <vector>

namespace {

constexpr char PATH[] = "/com/example/latency";
constexpr char METHOD[] = "getProperties";
constexpr char TEXT[] = "{\"props\":[\"transferStatus\",\"connectionStatus\",\"localStatus\"]}";

constexpr int WARM_UP = 2000;
constexpr int DEFAULT_ROUNDS = 20000;

using Clock = std::chrono::steady_clock;

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

void serveBare(std::string const& address, char const* name) {
    DBusConnection* const connection = connectBare(address);
    dbus_bus_request_name(connection, name, DBUS_NAME_FLAG_DO_NOT_QUEUE, nullptr);
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
    explicit EchoService(char const* name) : CSvcImplBase(name, PATH, true) {}

    void processTellbusRequest(CTellbusRequest* request) override {
        request->returnReply(TEXT, true);
    }
};

void serveFramework(std::string const& /*address*/, char const* name) {
    EchoService const service(name);
    CTellbusEventRouter::getMe()->start();
}

/** A server in a process of its own, which goes with this one. */
class Server {
public:
    using Serve = void (*)(std::string const& address, char const* name);

    Server(Serve serve, std::string const& address, char const* name)
        : mName(name), mProcess(fork()) {
        if (mProcess == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            serve(address, name);
            _exit(0);
        }
    }
    ~Server() {
        kill(mProcess, SIGKILL);
        waitpid(mProcess, nullptr, 0);
    }
    Server(Server const&) = delete;
    Server& operator=(Server const&) = delete;

    char const* name() const { return mName; }
    pid_t process() const { return mProcess; }

private:
    char const* mName;
    pid_t mProcess;
};

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

    /** Makes a call and says when it was answered. */
    Clock::time_point call(char const* name) const {
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
        auto const answered = Clock::now();
        dbus_message_unref(message);
        dbus_message_unref(reply);
        return answered;
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

    /** Makes a call, waits for its callback and says when that was. */
    Clock::time_point call(char const* name) {
        mAnswered.reset();
        if (TELLBUS_FAILED(TELLBUS_asyncInvoke(mConnection, name, PATH, METHOD, TEXT, false, 0,
                                               onResult, nullptr, this))) {
            fail("a call could not be made");
        }
        std::unique_lock lock(mMutex);
        mArrived.wait(lock, [this] { return mAnswered.has_value(); });
        return *mAnswered;
    }

private:
    static void onResult(TELLBUS_tCallbackStatus const* status, char const* text, void* cookie) {
        auto& self = *static_cast<LibraryClient*>(cookie);
        if (TELLBUS_FAILED(status->status) || std::strcmp(text, TEXT) != 0) {
            fail("a call had no or another answer");
        }
        {
            std::lock_guard const lock(self.mMutex);
            self.mAnswered = Clock::now();
        }
        self.mArrived.notify_one();
    }

    void* mConnection = nullptr;
    std::mutex mMutex;
    std::condition_variable mArrived;
    std::optional<Clock::time_point> mAnswered;
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

class Durations {
public:
    void add(Clock::duration duration) {
        mMicroseconds.push_back(std::chrono::duration<double, std::micro>(duration).count());
    }

    double quantile(double share) {
        auto const place =
            static_cast<std::ptrdiff_t>(share * static_cast<double>(mMicroseconds.size() - 1));
        std::nth_element(mMicroseconds.begin(), mMicroseconds.begin() + place, mMicroseconds.end());
        return mMicroseconds[static_cast<std::size_t>(place)];
    }

    double median() { return quantile(0.5); }
    double p99() { return quantile(0.99); }
    double count() const { return static_cast<double>(mMicroseconds.size()); }

private:
    std::vector<double> mMicroseconds;
};

struct Kind {
    char const* title;
    Server const& server;
    std::function<Clock::time_point(char const* name)> call; ///< returns when it was answered
    Durations answered;
    Durations returned;
    double processor = 0;

    void measure() {
        double const processorBefore =
            processorMicroseconds(server.process()) + processorMicroseconds(0);
        auto const before = Clock::now();
        auto const answer = call(server.name());
        returned.add(Clock::now() - before);
        answered.add(answer - before);
        processor +=
            processorMicroseconds(server.process()) + processorMicroseconds(0) - processorBefore;
    }
};

void print(Kind& kind, Kind& floor) {
    std::printf("%-42s %7.1f %5.2f %7.1f %5.2f %7.1f %7.1f %5.2f\n", kind.title,
                kind.answered.median(), kind.answered.median() / floor.answered.median(),
                kind.answered.p99(), kind.answered.p99() / floor.answered.p99(),
                kind.processor / kind.answered.count(), kind.returned.median(),
                kind.returned.median() / floor.returned.median());
}

bool within(Kind& kind, Kind& floor) {
    return kind.answered.median() <= MEDIAN_LIMIT * floor.answered.median()
           && kind.answered.p99() <= P99_LIMIT * floor.answered.p99();
}

} // namespace

/** Usage: call_latency [rounds] */
int main(int argc, char** argv) {
    int const rounds = argc > 1 ? std::max(100, std::atoi(argv[1])) : DEFAULT_ROUNDS;
    PrivateBus bus;
    bus.use();
    Server const floor(serveBare, bus.address(), "com.example.latency.Floor");
    Server const service(serveFramework, bus.address(), "com.example.latency.Service");
    Server const both(serveFramework, bus.address(), "com.example.latency.Both");
    BareClient const client(bus.address());
    for (auto const* const server : {&floor, &service, &both}) {
        while (!client.nameIsOwned(server->name())) {
        }
    }
    LibraryClient library;
    auto const callBare = [&](char const* name) { return client.call(name); };
    auto const callLibrary = [&](char const* name) { return library.call(name); };

    std::array<Kind, 3> kinds = {{
        {"bare client, bare echo (the floor)", floor, callBare, {}, {}},
        {"bare client, libtellbus and event server", service, callBare, {}, {}},
        {"libtellbus client and event server", both, callLibrary, {}, {}},
    }};
    for (int round = 0; round < WARM_UP; ++round) {
        for (auto& kind : kinds) {
            kind.call(kind.server.name());
        }
    }
    for (int round = 0; round < rounds; ++round) {
        for (auto& kind : kinds) {
            kind.measure();
        }
    }
    std::printf("%d rounds, microseconds a call\n%-42s %7s %5s %7s %5s %7s %7s %5s\n", rounds, "",
                "median", "x", "p99", "x", "cpu", "caller", "x");
    bool ok = true;
    for (auto& kind : kinds) {
        print(kind, kinds.front());
        ok = ok && within(kind, kinds.front());
    }
    std::printf("limits: median x %.2f, p99 x %.2f: %s\n", MEDIAN_LIMIT, P99_LIMIT,
                ok ? "kept" : "EXCEEDED");
    return ok ? 0 : 1;
}
