#include "OnBus.h"

#include "tellbus/HandOver.h"

#include <atomic>
#include <random>

namespace {

constexpr std::chrono::seconds DURATION{60};

/** Now and then a short sleep, mostly nothing or a place at the end of the queue. */
void stumble() {
    thread_local std::minstd_rand random(std::random_device{}());
    switch (random() % 8) {
    case 0:
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 500));
        break;
    case 1:
    case 2:
        std::this_thread::yield();
        break;
    default:
        break;
    }
}

} // namespace

class RandomDelays : public OnBus {
protected:
    RandomDelays() { tellbus::handOverHook = stumble; }
    ~RandomDelays() override { tellbus::handOverHook = nullptr; }
};

TEST_F(RandomDelays, AtEveryHandOverChangeNothingForAMinute) {
    void* const service = serve(echo);
    auto const end = std::chrono::steady_clock::now() + DURATION;
    auto const running = [&] { return std::chrono::steady_clock::now() < end; };
    Inbox<Signal> signals;
    hear(signals, "steady");

    std::thread emitting([&] {
        for (int index = 0; running(); ++index) {
            EXPECT_EQ(TELLBUS_emit(service, "steady", std::to_string(index).c_str()), TELLBUS_OK);
            EXPECT_EQ(signals.next().data, std::to_string(index));
        }
    });
    std::thread subscribing([&] {
        while (running()) {
            Inbox<Signal> heard;
            Inbox<TELLBUS_tStatus> done;
            void* const handle = hear(heard, "passing");
            EXPECT_EQ(TELLBUS_emit(service, "passing", "{}"), TELLBUS_OK);
            EXPECT_EQ(heard.next().data, "{}");
            EXPECT_EQ(TELLBUS_asyncUnsubscribe(handle, statusInto, &done), TELLBUS_OK);
            EXPECT_EQ(done.next(), TELLBUS_OK);
        }
    });
    std::thread registering([&] {
        while (running()) {
            void* const handle = serve(echo, nullptr, "com.example.one.Passing", "/passing");
            EXPECT_THAT(call("any", "in passing", 0, "com.example.one.Passing", "/passing"),
                        Succeeded("in passing"));
            EXPECT_EQ(TELLBUS_unregisterService(handle), TELLBUS_OK);
        }
    });
    std::thread connecting([&] {
        while (running()) {
            Inbox<Result> answers;
            void* const connection = connect();
            for (int index = 0; index < 20; ++index) {
                TELLBUS_asyncInvoke(connection, NAME, PATH, "any", "{}", false, 0, resultInto,
                                    nullptr, &answers);
            }
            EXPECT_EQ(TELLBUS_closeConnection(connection), TELLBUS_OK);
            EXPECT_EQ(answers.arrived(), 20U);
        }
    });
    for (int index = 0; running(); ++index) {
        EXPECT_THAT(call("any", std::to_string(index).c_str()), Succeeded(std::to_string(index)));
    }
    for (auto* const thread : {&emitting, &subscribing, &registering, &connecting}) {
        thread->join();
    }
}

TEST_F(RandomDelays, WhileTheBusComesAndGoesLoseNoCallback) {
    serve(echo);
    std::size_t started = 0;
    for (int round = 0; round < 10; ++round) {
        for (int index = 0; index < 200; ++index) {
            started += invoke(results, "any", "{}", 5000) == TELLBUS_OK;
        }
        bus.restart();
        unsigned int owned = 0;
        while (TELLBUS_FAILED(TELLBUS_nameHasOwner(client, NAME, &owned))) {
            std::this_thread::yield();
        }
    }
    EXPECT_TRUE(results.waitForArrivals(started));
    settle(client);
    EXPECT_EQ(results.arrived(), started);
}
