#include "OnBus.h"
#include "RawClient.h"
#include "support/Sanitized.h"

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

std::size_t residentBytes() {
    std::ifstream file("/proc/self/statm");
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

TEST_F(Load, ForAClientThatStopsReadingHoldsUpNobody) {
    serve(echo);
    RawClient silent(bus.address());
    std::string const large(std::size_t{1} * 1024 * 1024, 'x');
    for (int index = 0; index < 64; ++index) {
        RawMessage const ask = RawClient::methodCall(NAME, PATH, NAME, "any");
        RawClient::append(ask, large.c_str());
        silent.send(ask);
    }
    for (int index = 0; index < 1000; ++index) {
        ASSERT_THAT(call("any", "{}"), Succeeded("{}"));
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

TEST_F(Load, IsServedWithinASecondOfEachNewBusTenTimesOver) {
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
        EXPECT_LT(std::chrono::steady_clock::now() - up, std::chrono::seconds(1));
        EXPECT_EQ(TELLBUS_emit(service, "any", std::to_string(round).c_str()), TELLBUS_OK);
        EXPECT_EQ(signals.next().data, std::to_string(round));
    }
    over = true;
    calling.join();
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

TEST_F(Load, WhenThereIsNoneMakesNoSystemCallInTenSeconds) {
    serve(echo);
    EXPECT_THAT(call("any", "{}", 8000), Succeeded("{}"));
    Inbox<Signal> signals;
    hear(signals, "any");
    std::string thread;
    for (auto const& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(entry.path() / "comm");
        std::string name;
        std::getline(file, name);
        if (name == "tellbus") {
            thread = entry.path().filename();
        }
    }
    ASSERT_FALSE(thread.empty());
    auto const switches = [&] {
        std::ifstream file("/proc/self/task/" + thread + "/status");
        long count = -1;
        for (std::string line; std::getline(file, line);) {
            if (line.rfind("voluntary_ctxt_switches:", 0) == 0) {
                count = std::stol(line.substr(line.find(':') + 1));
            }
        }
        return count;
    };
    long const before = switches();
    ASSERT_GT(before, 0);
    std::this_thread::sleep_for(std::chrono::seconds(10));
    // A thread that came out of epoll would have gone back in, which is one more.
    EXPECT_EQ(switches(), before);
}
