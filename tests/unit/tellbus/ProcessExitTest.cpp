#include "OnBus.h"
#include "RawClient.h"
#include "support/BlockedThread.h"

#include <atomic>
#include <functional>
#include <sys/prctl.h>
#include <sys/resource.h>

namespace {

/** Runs a whole program of its own: the library is not yet in use here, so nothing is copied. */
pid_t inChild(std::function<void()> const& program) {
    pid_t const child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        program();
        _exit(99);
    }
    return child;
}

int statusOf(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void* serveNow(TELLBUS_fRequest callback, void* cookie) {
    void* connection = nullptr;
    void* handle = nullptr;
    if (TELLBUS_FAILED(TELLBUS_initialize())
        || TELLBUS_FAILED(TELLBUS_getConnection(0, 0, &connection))
        || TELLBUS_FAILED(
            TELLBUS_registerService(connection, NAME, PATH, 0, callback, cookie, &handle))) {
        _exit(98);
    }
    return handle;
}

/** Lets a child go on when its parent says so. */
class Gate {
public:
    Gate() {
        if (pipe(mPipe) != 0) {
            throw std::runtime_error("no pipe");
        }
    }
    ~Gate() {
        close(mPipe[0]);
        close(mPipe[1]);
    }
    Gate(Gate const&) = delete;
    Gate& operator=(Gate const&) = delete;

    void open() const { EXPECT_EQ(write(mPipe[1], "g", 1), 1); }
    void wait() const {
        char byte = 0;
        if (read(mPipe[0], &byte, 1) != 1) {
            _exit(97);
        }
    }

private:
    int mPipe[2] = {};
};

/** Returns when somebody owns the name. */
void awaitName(RawClient& raw) {
    RawMessage const ask = RawClient::methodCall(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS,
                                                 DBUS_INTERFACE_DBUS, "GetNameOwner");
    RawClient::append(ask, NAME);
    while (raw.call(ask).front() != ':') {
        std::this_thread::yield();
    }
}

std::string const LARGE(std::size_t{4} * 1024 * 1024, 'x');

/** A child whose service waits for the gate in its first call, answers LARGE and exits. */
pid_t exitingInItsCallback(Gate& gate) {
    return inChild([&gate] {
        auto const last = [](void* context, char const*, char const*, int, void* go) {
            static_cast<Gate const*>(go)->wait();
            TELLBUS_returnResult(context, LARGE.c_str());
            exit(0);
        };
        serveNow(last, &gate);
        pause();
    });
}

} // namespace

class ProcessExit : public ::testing::Test {
protected:
    ProcessExit() { bus.use(); }

    /** Calls as soon as the child has its name. */
    std::string callChild(std::string const& text = "{}") {
        RawClient raw(bus.address());
        awaitName(raw);
        RawMessage const call = RawClient::methodCall(NAME, PATH, NAME, "any");
        RawClient::append(call, text.c_str());
        return raw.call(call);
    }

    PrivateBus bus;
};

TEST_F(ProcessExit, RightAfterAReplyDoesNotLoseIt) {
    pid_t const child = inChild([] {
        Inbox<Request> requests;
        serveNow(requestInto, &requests);
        TELLBUS_returnResult(requests.next().context, "last words");
        exit(0);
    });
    EXPECT_EQ(callChild(), "last words");
    EXPECT_EQ(statusOf(child), 0);
}

TEST_F(ProcessExit, RightAfterALargeReplyDoesNotLoseIt) {
    pid_t const child = inChild([] {
        Inbox<Request> requests;
        serveNow(requestInto, &requests);
        TELLBUS_returnResult(requests.next().context, LARGE.c_str());
        exit(0);
    });
    EXPECT_TRUE(callChild() == LARGE);
    EXPECT_EQ(statusOf(child), 0);
}

TEST_F(ProcessExit, InACallbackDoesNotLoseTheReply) {
    pid_t const child = inChild([] {
        auto const last = [](void* context, char const*, char const*, int, void*) {
            TELLBUS_returnResult(context, LARGE.c_str());
            exit(0);
        };
        serveNow(last, nullptr);
        pause();
    });
    EXPECT_TRUE(callChild() == LARGE);
    EXPECT_EQ(statusOf(child), 0);
}

TEST_F(ProcessExit, WithMessagesUnreadDoesNotLoseTheReply) {
    // A socket closed with something still to be read is reset, and takes with it what the bus
    // has not read.
    Gate gate;
    pid_t const child = exitingInItsCallback(gate);
    RawClient raw(bus.address());
    awaitName(raw);
    raw.send(RawClient::methodCall(NAME, PATH, NAME, "last"));
    for (int index = 0; index < 200; ++index) {
        RawMessage const unread = RawClient::methodCall(NAME, PATH, NAME, "unread");
        dbus_message_set_no_reply(unread.get(), TRUE);
        raw.send(unread);
    }
    raw.call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetId");
    gate.open();
    EXPECT_TRUE(raw.wait(DBUS_MESSAGE_TYPE_METHOD_RETURN) == LARGE);
    EXPECT_EQ(statusOf(child), 0);
}

TEST_F(ProcessExit, RightAfterSignalsDoesNotLoseOne) {
    RawClient raw(bus.address());
    raw.match("member='localStatus'");
    pid_t const child = inChild([] {
        void* const service = serveNow(ignore, nullptr);
        for (int index = 0; index < 1000; ++index) {
            TELLBUS_emit(service, "localStatus", std::to_string(index).c_str());
        }
        exit(0);
    });
    for (int index = 0; index < 1000; ++index) {
        ASSERT_EQ(raw.wait(DBUS_MESSAGE_TYPE_SIGNAL), std::to_string(index));
    }
    EXPECT_EQ(statusOf(child), 0);
}

TEST_F(ProcessExit, IsNotHeldUpByABusThatDoesNotRead) {
    Gate gate;
    pid_t const child = inChild([&] {
        void* const service = serveNow(ignore, nullptr);
        gate.wait();
        TELLBUS_emit(service, "localStatus", LARGE.c_str());
        exit(0);
    });
    RawClient raw(bus.address());
    awaitName(raw);
    bus.pause();
    gate.open();
    EXPECT_EQ(statusOf(child), 0);
}

TEST_F(ProcessExit, InACallbackIsNotHeldUpByABusThatDoesNotRead) {
    Gate gate;
    pid_t const child = exitingInItsCallback(gate);
    RawClient raw(bus.address());
    awaitName(raw);
    RawMessage const call = RawClient::methodCall(NAME, PATH, NAME, "any");
    RawClient::append(call, std::string(100000, 'x').c_str());
    for (int index = 0; index < 5; ++index) {
        raw.send(RawMessage(dbus_message_copy(call.get())));
    }
    raw.call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetId");
    bus.pause();
    gate.open();
    int status = 0;
    rusage used{};
    ASSERT_EQ(wait4(child, &status, 0, &used), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    // It waits for the bus in the kernel.
    EXPECT_EQ(used.ru_utime.tv_sec + used.ru_stime.tv_sec, 0);
}

TEST_F(ProcessExit, InACallbackOfAnEndingLibraryDoesNotLoseWhatWasSent) {
    for (bool const shutdown : {false, true}) {
        RawClient raw(bus.address());
        raw.match("member='localStatus'");
        RawClient silent(bus.address());
        ASSERT_TRUE(silent.own("com.example.Silent"));
        pid_t const child = inChild([shutdown] {
            void* const service = serveNow(echo, nullptr);
            void* connection = nullptr;
            TELLBUS_getConnection(0, 0, &connection);
            auto const leave = [](TELLBUS_tCallbackStatus const*, char const*, void*) { exit(0); };
            TELLBUS_asyncInvoke(connection, "com.example.Silent", PATH, "any", "{}", false, 0,
                                leave, nullptr, nullptr);
            TELLBUS_emit(service, "localStatus", LARGE.c_str());
            if (shutdown) {
                TELLBUS_shutdown();
            } else {
                TELLBUS_closeConnection(connection);
            }
            pause();
        });
        EXPECT_TRUE(raw.wait(DBUS_MESSAGE_TYPE_SIGNAL) == LARGE);
        EXPECT_EQ(statusOf(child), 0);
        silent.disown("com.example.Silent");
    }
}

TEST_F(ProcessExit, LetsNoCallbackBegin) {
    pid_t const child = inChild([] {
        static std::atomic<int> begun{0};
        static pid_t const mainThread = threadId();
        static std::promise<void> first;
        static std::atomic<bool> exiting{false};
        auto const whileExiting = [](void* context, char const*, char const*, int, void*) {
            TELLBUS_freeReqContext(context);
            if (++begun > 1) {
                _exit(1);
            }
            first.set_value();
            while (!exiting || !isBlocked(mainThread)) {
                std::this_thread::yield();
            }
        };
        serveNow(whileExiting, nullptr);
        first.get_future().wait();
        exiting = true;
        exit(0);
    });
    RawClient raw(bus.address());
    awaitName(raw);
    for (int index = 0; index < 200; ++index) {
        RawMessage const call = RawClient::methodCall(NAME, PATH, NAME, "any");
        dbus_message_set_no_reply(call.get(), TRUE);
        raw.send(call);
    }
    EXPECT_EQ(statusOf(child), 0);
}

TEST_F(ProcessExit, OutlastedByACallbackIsOverBesideIt) {
    Gate gate;
    pid_t const child = inChild([&] {
        static pid_t const mainThread = threadId();
        auto const slow = [](void* context, char const*, char const*, int, void*) {
            TELLBUS_returnResult(context, "here");
            TELLBUS_freeReqContext(context);
            while (!isBlockedIn("poll", std::to_string(mainThread))) {
                std::this_thread::yield();
            }
        };
        void* const service = serveNow(slow, nullptr);
        gate.wait();
        TELLBUS_emit(service, "localStatus", LARGE.c_str());
        exit(0);
    });
    EXPECT_EQ(callChild(), "here");
    // The exit waits for the callback, and then in poll() for the bus.
    bus.pause();
    gate.open();
    EXPECT_EQ(statusOf(child), 0);
}

TEST_F(ProcessExit, OfAForkedChildLeavesItsParentsConnectionAlone) {
    pid_t const parent = inChild([] {
        serveNow(echo, nullptr);
        pid_t const child = fork();
        if (child == 0) {
            exit(0);
        }
        waitpid(child, nullptr, 0);
        void* connection = nullptr;
        TELLBUS_getConnection(0, 0, &connection);
        Inbox<Result> results;
        TELLBUS_asyncInvoke(connection, NAME, PATH, "any", "{}", false, 60000, resultInto, nullptr,
                            &results);
        _exit(results.next().status == TELLBUS_OK ? 0 : 1);
    });
    EXPECT_EQ(statusOf(parent), 0);
}
