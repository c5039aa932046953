// What a call costs through libtellbus and the event server, against the least it can cost: an
// echo of one thread on bare libdbus.
//
// The kinds take turns, so that whatever else the machine does meets all of them alike, and each
// follows each of the others equally often: a call finds the caches as the one before has left
// them. Each kind has a server process of its own. A run has one bus.
//
// There are two runs where there are several processors. On one a call takes as long as the work
// that it is, whatever the order; that run is judged. On several, much of the time goes into waking
// processors, and moves with where the system puts the threads; that run is only shown.

#include "bus/CSvcImplBase.h"
#include "bus/CTellbusEventRouter.h"
#include "bus/CTellbusRequest.h"
#include "platform/posix/Processors.h"
#include "support/PrivateBus.h"
#include "tellbus/tellbus.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <dbus/dbus.h>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <sched.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr char PATH[] = "/com/example/latency";
constexpr char METHOD[] = "getProperties";
constexpr char TEXT[] = "{\"props\":[\"transferStatus\",\"connectionStatus\",\"localStatus\"]}";

constexpr int WARM_UP = 2000;
constexpr int DEFAULT_ROUNDS = 20000;
// How the program ends.
constexpr int KEPT = 0;
constexpr int EXCEEDED = 1;
constexpr int CAME_TO_NOTHING = 2;

constexpr int MIN_ROUNDS = 100;
constexpr int MAX_ROUNDS = 1000000;

using Clock = std::chrono::steady_clock;

constexpr double MEDIAN_LIMIT = 1.25;
constexpr double P99_LIMIT = 1.5;

[[noreturn]] void fail(char const* what) {
    throw std::runtime_error(what);
}

/** A connection of bare libdbus. */
DBusConnection* connectBare(std::string const& address) {
    DBusConnection* const connection = dbus_connection_open_private(address.c_str(), nullptr);
    if (!connection || !dbus_bus_register(connection, nullptr)) {
        fail("no bus");
    }
    return connection;
}

/** What a process ends with whose work this is; says what went wrong. */
template <class Work>
int statusOf(Work work) {
    try {
        return work();
    } catch (std::exception const& problem) {
        std::fprintf(stderr, "call_latency: %s\n", problem.what());
        return CAME_TO_NOTHING;
    }
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
        if (mProcess == -1) {
            fail("no process for a server");
        }
        if (mProcess == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            _exit(statusOf([&] {
                serve(address, name);
                return 0;
            }));
        }
    }
    ~Server() {
        kill(mProcess, SIGKILL);
        waitpid(mProcess, nullptr, 0);
    }
    Server(Server const&) = delete;
    Server& operator=(Server const&) = delete;

    bool hasEnded() const {
        siginfo_t end{};
        return waitid(P_PID, static_cast<id_t>(mProcess), &end, WEXITED | WNOHANG | WNOWAIT) == 0
               && end.si_pid == mProcess;
    }

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
        if (!mAnsweredWell) {
            fail("a call had no or another answer");
        }
        return *mAnswered;
    }

private:
    static void onResult(TELLBUS_tCallbackStatus const* status, char const* text, void* cookie) {
        auto& self = *static_cast<LibraryClient*>(cookie);
        bool const well = !TELLBUS_FAILED(status->status) && std::strcmp(text, TEXT) == 0;
        {
            std::lock_guard const lock(self.mMutex);
            self.mAnsweredWell = well;
            self.mAnswered = Clock::now();
        }
        self.mArrived.notify_one();
    }

    void* mConnection = nullptr;
    std::mutex mMutex;
    std::condition_variable mArrived;
    std::optional<Clock::time_point> mAnswered;
    bool mAnsweredWell = false;
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

using Kinds = std::array<Kind, 3>;

/** Two rounds in which each kind follows each of the others once. */
constexpr std::array<std::size_t, 6> TURNS = {0, 1, 2, 0, 2, 1};

void warmUp(Kinds& kinds) {
    for (int round = 0; round < WARM_UP; ++round) {
        for (auto& kind : kinds) {
            kind.call(kind.server.name());
        }
    }
}

void measure(Kinds& kinds, int rounds) {
    for (int round = 0; round < rounds; round += 2) {
        for (std::size_t const kind : TURNS) {
            kinds.at(kind).measure();
        }
    }
}

/** Prints what was measured and says whether the limits are kept. */
bool print(Kinds& kinds, char const* where) {
    std::printf("%-42s %7s %5s %7s %5s %7s %7s %5s\n", where, "median", "x", "p99", "x", "cpu",
                "caller", "x");
    bool kept = true;
    for (auto& kind : kinds) {
        print(kind, kinds.front());
        kept = kept && within(kind, kinds.front());
    }
    return kept;
}

bool run(int rounds, char const* where) {
    PrivateBus bus;
    bus.use();
    Server const floor(serveBare, bus.address(), "com.example.latency.Floor");
    Server const service(serveFramework, bus.address(), "com.example.latency.Service");
    Server const both(serveFramework, bus.address(), "com.example.latency.Both");
    BareClient const client(bus.address());
    for (auto const* const server : {&floor, &service, &both}) {
        while (!client.nameIsOwned(server->name())) {
            if (server->hasEnded()) {
                fail("a server could not serve");
            }
        }
    }
    LibraryClient library;
    auto const callBare = [&](char const* name) { return client.call(name); };
    auto const callLibrary = [&](char const* name) { return library.call(name); };
    Kinds kinds = {{
        {"bare client, bare echo (the floor)", floor, callBare, {}, {}},
        {"bare client, libtellbus and event server", service, callBare, {}, {}},
        {"libtellbus client and event server", both, callLibrary, {}, {}},
    }};
    warmUp(kinds);
    measure(kinds, rounds);
    return print(kinds, where);
}

void useOneProcessor() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<std::size_t>(sched_getcpu()), &one);
    if (sched_setaffinity(0, sizeof one, &one) != 0) {
        fail("could not stay on one processor");
    }
}

/**
 * Runs in a process of its own: bus and servers stay on the processors of the one that starts them,
 * and a process that has used libtellbus may not start others that do.
 */
template <class Run>
bool inChild(Run run) {
    std::fflush(stdout);
    pid_t const child = fork();
    if (child == 0) {
        _exit(statusOf([&] {
            bool const kept = run();
            if (std::fflush(stdout) != 0) {
                fail("could not write the results");
            }
            return kept ? KEPT : EXCEEDED;
        }));
    }
    int status = 0;
    if (child == -1 || waitpid(child, &status, 0) != child || !WIFEXITED(status)
        || WEXITSTATUS(status) > EXCEEDED) {
        fail("a run came to nothing");
    }
    return WEXITSTATUS(status) == KEPT;
}

/** How many are wanted; each two of them are made together. */
int roundsOf(int argc, char** argv) {
    if (argc == 1) {
        return DEFAULT_ROUNDS;
    }
    std::string_view const text = argv[1];
    int rounds = 0;
    auto const read = std::from_chars(text.data(), text.data() + text.size(), rounds);
    bool const whole = read.ec == std::errc() && read.ptr == text.data() + text.size();
    if (argc > 2 || !whole || rounds < MIN_ROUNDS || rounds > MAX_ROUNDS || rounds % 2 != 0) {
        fail(("usage: call_latency [rounds], an even number from " + std::to_string(MIN_ROUNDS)
              + " to " + std::to_string(MAX_ROUNDS))
                 .c_str());
    }
    return rounds;
}

int measureAll(int rounds) {
    std::printf("%d rounds, microseconds a call\n", rounds);
    bool const kept = inChild([&] {
        useOneProcessor();
        return run(rounds, "on one processor");
    });
    std::printf("limits: median x %.2f, p99 x %.2f: %s\n", MEDIAN_LIMIT, P99_LIMIT,
                kept ? "kept" : "EXCEEDED");
    if (int const processors = usableProcessors(); processors > 1) {
        std::string const where = "on " + std::to_string(processors) + " processors, not judged";
        inChild([&] { return run(rounds, where.c_str()); });
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        fail("could not write the results");
    }
    return kept ? KEPT : EXCEEDED;
}

} // namespace

/** Ends with 0 if the limits are kept, with 1 if not, with 2 if a run came to nothing. */
int main(int argc, char** argv) {
    return statusOf([&] { return measureAll(roundsOf(argc, argv)); });
}
