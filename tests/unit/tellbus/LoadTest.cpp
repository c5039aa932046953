#include "OnBus.h"
#include "RawClient.h"
#include "support/BlockedThread.h"
#include "support/Sanitized.h"

#include <algorithm>
#include <atomic>
#include <fstream>
#include <numeric>
#include <sys/wait.h>
#include <vector>

// What takes longer than a few seconds.

namespace {

constexpr int CLIENTS = 8;
constexpr int CALLS_EACH = 100000;
constexpr int SIGNALS = 100000;
/** Calls of one client that wait at the same time. */
constexpr int WINDOW = 64;

/** A client that keeps its calls coming and checks that the answers come in their order. */
class OrderedCaller {
public:
    explicit OrderedCaller(int number) : mPrefix(std::to_string(number) + ":") {
        EXPECT_EQ(TELLBUS_getConnection(0, 0, &mConnection), TELLBUS_OK);
    }

    void callAll() {
        for (int index = 0; index < CALLS_EACH; ++index) {
            EXPECT_TRUE(index < WINDOW
                        || mAnswers.waitForArrivals(static_cast<std::size_t>(index - WINDOW + 1)));
            std::string const text = mPrefix + std::to_string(index);
            ASSERT_EQ(TELLBUS_asyncInvoke(mConnection, NAME, PATH, "any", text.c_str(), false, 0,
                                          onResult, nullptr, this),
                      TELLBUS_OK);
        }
        EXPECT_TRUE(mAnswers.waitForArrivals(CALLS_EACH));
    }

    int wrong() const { return mWrong; }
    std::size_t answers() const { return mAnswers.arrived(); }

private:
    static void onResult(TELLBUS_tCallbackStatus const* status, char const* text, void* cookie) {
        auto& self = *static_cast<OrderedCaller*>(cookie);
        std::string const expected = self.mPrefix + std::to_string(self.mNext++);
        self.mWrong += status->status != TELLBUS_OK || expected != text;
        self.mAnswers.count();
    }

    std::string mPrefix;
    void* mConnection = nullptr;
    int mNext = 0;
    std::atomic<int> mWrong{0};
    Inbox<int> mAnswers;
};

/** Processor time of this process, all threads. */
double processorSeconds() {
    return static_cast<double>(clock()) / CLOCKS_PER_SEC;
}

std::size_t residentBytes(pid_t process = getpid()) {
    std::ifstream file("/proc/" + std::to_string(process) + "/statm");
    std::size_t pages = 0;
    file >> pages >> pages;
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

} // namespace

class Load : public OnBus {};

TEST_F(Load, OfEightClientsGetsEveryAnswerInItsOrder) {
    serve(echo);
    std::vector<std::unique_ptr<OrderedCaller>> callers;
    for (int number = 0; number < CLIENTS; ++number) {
        callers.push_back(std::make_unique<OrderedCaller>(number));
    }
    std::vector<std::thread> threads;
    for (auto const& caller : callers) {
        threads.emplace_back([&caller] { caller->callAll(); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (auto const& caller : callers) {
        EXPECT_EQ(caller->wrong(), 0);
        EXPECT_EQ(caller->answers(), static_cast<std::size_t>(CALLS_EACH));
    }
}

TEST_F(Load, OfAHundredThousandSignalsLosesAndReordersNone) {
    struct Check {
        int next = 0;
        int wrong = 0;
        Inbox<int> arrived;
    } check;
    auto const inOrder = [](char const*, char const* data, void* cookie) {
        auto& self = *static_cast<Check*>(cookie);
        self.wrong += std::to_string(self.next++) != data;
        self.arrived.count();
    };
    void* subscription = nullptr;
    ASSERT_EQ(TELLBUS_subscribe(client, PATH, "any", inOrder, &check, &subscription), TELLBUS_OK);
    settle(client);
    void* const service = serve(echo);
    for (int index = 0; index < SIGNALS; ++index) {
        ASSERT_EQ(TELLBUS_emit(service, "any", std::to_string(index).c_str()), TELLBUS_OK);
    }
    EXPECT_TRUE(check.arrived.waitForArrivals(SIGNALS));
    EXPECT_EQ(check.wrong, 0);
}

TEST_F(Load, OfLargeMessagesArrivesWhole) {
    void* const service = serve(echo);
    Inbox<Signal> signals;
    hear(signals, "any");
    for (int index = 0; index < 10; ++index) {
        std::string const large(std::size_t{16} * 1024 * 1024, static_cast<char>('a' + index));
        EXPECT_TRUE(call("any", large.c_str()).text == large);
        EXPECT_EQ(TELLBUS_emit(service, "any", large.c_str()), TELLBUS_OK);
        EXPECT_TRUE(signals.next().data == large);
    }
}

/** On a bus that keeps much less for a client that does not read than it takes from one. */
class LoadOnASmallBus : public OnBus {
protected:
    static constexpr std::size_t QUEUE_LIMIT = std::size_t{8} * 1024 * 1024;
    /** The limit, the message that passes it, and what allocators keep. */
    static constexpr std::size_t ROOM = 6 * QUEUE_LIMIT;
    static constexpr int MESSAGES = 256;

    LoadOnASmallBus() : OnBus({QUEUE_LIMIT, 16 * QUEUE_LIMIT, 4 * QUEUE_LIMIT}) {}

    /** Neither the daemon nor this process holds what a silent client was sent. */
    void expectBounded() {
        EXPECT_LT(residentBytes(bus.pid()), mBusBefore + ROOM);
        if (!SANITIZED) {
            EXPECT_LT(residentBytes(), mOwnBefore + ROOM);
        }
    }

    void expectOthersServed() const {
        for (int index = 0; index < 1000; ++index) {
            ASSERT_THAT(call("any", "{}"), Succeeded("{}"));
        }
    }

    std::string const mLarge = std::string(std::size_t{1} * 1024 * 1024, 'x');
    std::size_t const mBusBefore = residentBytes(bus.pid());
    std::size_t const mOwnBefore = residentBytes();
};

TEST_F(LoadOnASmallBus, RepliesToAClientThatStopsReadingAreBoundedAndHoldUpNobody) {
    Inbox<int> asked;
    serve(
        [](void* context, char const* method, char const* parameters, int noReply, void* cookie) {
            echo(context, method, parameters, noReply, nullptr);
            static_cast<Inbox<int>*>(cookie)->count();
        },
        &asked);
    RawClient silent(bus.address());
    silent.stopReading();
    RawMessage const ask = RawClient::methodCall(NAME, PATH, NAME, "any");
    RawClient::append(ask, mLarge.c_str());
    for (int index = 1; index <= MESSAGES; ++index) {
        RawMessage const copy(dbus_message_copy(ask.get()));
        silent.send(copy);
        ASSERT_TRUE(asked.waitForArrivals(static_cast<std::size_t>(index)));
    }
    expectOthersServed();
    expectBounded();
}

TEST_F(LoadOnASmallBus, SignalsToAClientThatStopsReadingAreBoundedAndHoldUpNobody) {
    void* const service = serve(echo);
    RawClient silent(bus.address());
    silent.match("type='signal',member='any'");
    silent.stopReading();
    Inbox<int> heard;
    auto const counting = [](char const*, char const*, void* cookie) {
        static_cast<Inbox<int>*>(cookie)->count();
    };
    void* subscription = nullptr;
    ASSERT_EQ(TELLBUS_subscribe(client, PATH, "any", counting, &heard, &subscription), TELLBUS_OK);
    settle(client);
    for (int index = 1; index <= MESSAGES; ++index) {
        ASSERT_EQ(TELLBUS_emit(service, "any", mLarge.c_str()), TELLBUS_OK);
        ASSERT_TRUE(heard.waitForArrivals(static_cast<std::size_t>(index)));
    }
    expectOthersServed();
    expectBounded();
}

TEST_F(Load, ForAClientWhoseCallbackWaitsStaysWithTheBus) {
    RawClient owner(bus.address());
    ASSERT_TRUE(owner.own(NAME));
    Inbox<Signal> signals;
    hear(signals, "any");
    std::string const large(std::size_t{1} * 1024 * 1024, 'x');
    constexpr int MESSAGES = 100;
    std::size_t const before = residentBytes();
    {
        HeldThread const held(client);
        for (int index = 0; index < MESSAGES; ++index) {
            RawMessage const signal = RawClient::signal(PATH, NAME, "any");
            RawClient::append(signal, (std::to_string(index) + large).c_str());
            owner.send(signal);
        }
        if (!SANITIZED) {
            EXPECT_LT(residentBytes(), before + 16 * large.size());
        }
    }
    for (int index = 0; index < MESSAGES; ++index) {
        ASSERT_EQ(signals.next().data, std::to_string(index) + large);
    }
}

TEST_F(Load, ForABusThatStopsReadingIsBounded) {
    void* const service = serve(echo);
    std::string const large(std::size_t{1} * 1024 * 1024, 'x');
    std::size_t const before = residentBytes();
    bus.pause();
    TELLBUS_tStatus status = TELLBUS_OK;
    int sent = 0;
    for (; sent < 1000 && status == TELLBUS_OK; ++sent) {
        status = TELLBUS_emit(service, "any", large.c_str());
    }
    EXPECT_EQ(status, TELLBUS_E_QUEUE_FULL);
    Inbox<Signal> signals;
    void* handle = nullptr;
    EXPECT_EQ(TELLBUS_subscribe(server, PATH, "any", signalInto, &signals, &handle),
              TELLBUS_E_QUEUE_FULL);
    EXPECT_LT(residentBytes() - before, std::size_t{1} << 30U);
    bus.resume();
    // A reply is refused as well while the queue is full.
    while (TELLBUS_emit(service, "any", "{}") == TELLBUS_E_QUEUE_FULL) {
        std::this_thread::yield();
    }
    EXPECT_THAT(call("any", "{}"), Succeeded("{}"));
}

TEST_F(Load, OnAServiceLeavesNoMemoryBehind) {
    if (SANITIZED) {
        GTEST_SKIP() << "a sanitizer keeps what was freed, and looks for leaks itself";
    }
    serve(echo);
    auto const someCalls = [&] {
        for (int index = 0; index < 20000; ++index) {
            ASSERT_EQ(call("any", "{\"some\":\"text\"}").status, TELLBUS_OK);
        }
    };
    someCalls();
    std::size_t const before = residentBytes();
    someCalls();
    EXPECT_LT(residentBytes(), before + 4U * 1024 * 1024);
}

TEST_F(Load, IsServedSoonAfterEachNewBusTenTimesOver) {
    std::chrono::steady_clock::duration fastest = PATIENCE;
    Inbox<Signal> signals;
    void* const service = serve(echo);
    hear(signals, "any");
    Inbox<Result> own;
    std::atomic<bool> over{false};
    std::atomic<int> started{0};
    std::thread calling([&] {
        while (!over) {
            started += invoke(results, "any", "{}", 5000) == TELLBUS_OK;
            std::this_thread::yield();
        }
    });
    for (int round = 0; round < 10; ++round) {
        bus.restart();
        auto const up = std::chrono::steady_clock::now();
        while (invoke(own, "any", "{}", 1000) != TELLBUS_OK || TELLBUS_FAILED(own.next().status)) {
            std::this_thread::yield();
        }
        auto const took = std::chrono::steady_clock::now() - up;
        EXPECT_LT(took, PATIENCE);
        fastest = std::min(fastest, took);
        EXPECT_EQ(TELLBUS_emit(service, "any", std::to_string(round).c_str()), TELLBUS_OK);
        EXPECT_EQ(signals.next().data, std::to_string(round));
    }
    over = true;
    calling.join();
    // A loaded machine holds up some of them, a pause that is too long all.
    EXPECT_LT(fastest, std::chrono::seconds(SANITIZED ? 10 : 1));
    // Every call got its one callback, whatever became of its bus.
    EXPECT_TRUE(results.waitForArrivals(static_cast<std::size_t>(started)));
    settle(client);
    EXPECT_EQ(results.arrived(), static_cast<std::size_t>(started));
}

TEST_F(Load, WithoutABusTakesNextToNoProcessorTime) {
    serve(echo);
    bus.stop();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    double const before = processorSeconds();
    std::this_thread::sleep_for(std::chrono::seconds(5));
    EXPECT_LT(processorSeconds() - before, 0.1);
}

TEST_F(Load, OfABusThatHangsFailsAConnectionInTime) {
    bus.pause();
    void* connection = nullptr;
    EXPECT_TRUE(TELLBUS_FAILED(TELLBUS_getConnection(0, 0, &connection)));
    EXPECT_EQ(connection, nullptr);
    bus.resume();
    EXPECT_EQ(TELLBUS_getConnection(0, 0, &connection), TELLBUS_OK);
}

TEST_F(Load, ThatTheBusDoesNotTakeMakesAClosingFail) {
    void* const service = serve(echo);
    std::string const large(std::size_t{8} * 1024 * 1024, 'x');
    bus.pause();
    EXPECT_EQ(TELLBUS_emit(service, "any", large.c_str()), TELLBUS_OK);
    EXPECT_EQ(TELLBUS_closeConnection(server), TELLBUS_E_TIMEOUT);
    EXPECT_EQ(TELLBUS_closeConnection(server), TELLBUS_E_HANDLE);
    bus.resume();
}

TEST_F(Load, BehindACallbackThatBlocksLeavesWhenItIsOver) {
    void* const service = serve(echo);
    RawClient listener(bus.address());
    listener.match("type='signal',member='any'");
    std::string const large(std::size_t{4} * 1024 * 1024, 'x');
    {
        HeldThread const held(client);
        bus.pause();
        EXPECT_EQ(TELLBUS_emit(service, "any", large.c_str()), TELLBUS_OK);
        EXPECT_EQ(TELLBUS_closeConnection(server), TELLBUS_E_TIMEOUT);
        bus.resume();
    }
    EXPECT_TRUE(listener.wait(DBUS_MESSAGE_TYPE_SIGNAL) == large);
}

TEST_F(Load, BehindACallbackThatBlocksLetsNobodyWaitForEver) {
    void* const service = serve(echo);
    void* const closing = connect();
    using Operation = std::function<TELLBUS_tStatus()>;
    std::vector<Operation> const waiting = {
        [&] {
            unsigned int owned = 0;
            return TELLBUS_nameHasOwner(client, NAME, &owned);
        },
        [] {
            void* connection = nullptr;
            return TELLBUS_getConnection(0, 0, &connection);
        },
        [&] {
            void* handle = nullptr;
            return TELLBUS_registerService(server, NAME, "/another", 0, echo, nullptr, &handle);
        },
        [&] { return TELLBUS_unregisterService(service); },
        [&] { return TELLBUS_closeConnection(closing); },
    };
    auto const before = std::chrono::steady_clock::now();
    {
        HeldThread const held(client);
        std::vector<std::future<TELLBUS_tStatus>> outcomes;
        for (auto const& operation : waiting) {
            outcomes.push_back(std::async(std::launch::async, operation));
        }
        for (auto& outcome : outcomes) {
            EXPECT_EQ(outcome.get(), TELLBUS_E_TIMEOUT);
        }
    }
    auto const took = std::chrono::steady_clock::now() - before;
    EXPECT_GE(took, std::chrono::seconds(10));
    // Side by side: one after the other it would be fifty.
    EXPECT_LT(took, std::chrono::seconds(40));
    // Nothing is left of what nobody waited for any more.
    void* handle = nullptr;
    EXPECT_EQ(TELLBUS_registerService(server, NAME, "/another", 0, echo, nullptr, &handle),
              TELLBUS_OK);
    EXPECT_THAT(call("any", "{}", 0, NAME, "/another"), Succeeded("{}"));
    EXPECT_THAT(call("any", "{}"), Failed(TELLBUS_E_REMOTE));
}

TEST_F(Load, WhenThereIsNoneMakesNoSystemCallInTenSeconds) {
    serve(echo);
    EXPECT_THAT(call("any", "{}", 8000), Succeeded("{}"));
    Inbox<Signal> signals;
    hear(signals, "any");
    auto const thread = libraryThread();
    ASSERT_TRUE(thread);
    auto const switches = [&] {
        std::ifstream file("/proc/self/task/" + *thread + "/status");
        long count = -1;
        for (std::string line; std::getline(file, line);) {
            if (line.rfind("voluntary_ctxt_switches:", 0) == 0) {
                count = std::stol(line.substr(line.find(':') + 1));
            }
        }
        return count;
    };
    ASSERT_TRUE(waitUntil([&] { return isBlockedIn("poll", *thread); }));
    long const before = switches();
    ASSERT_GT(before, 0);
    std::this_thread::sleep_for(std::chrono::seconds(10));
    // A thread that came out of epoll would have gone back in, which is one more.
    EXPECT_EQ(switches(), before);
}
