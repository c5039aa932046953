#include "rig/CommandReader.h"

#include <csignal>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

class Reader : public ::testing::Test {
protected:
    Reader() {
        EXPECT_EQ(0, pipe(mEnds));
        mReader = std::make_unique<CommandReader>(mEnds[0]);
    }
    ~Reader() override {
        close(mEnds[0]);
        end();
    }

    void give(std::string const& bytes) {
        ASSERT_EQ(static_cast<ssize_t>(bytes.size()), write(mEnds[1], bytes.data(), bytes.size()));
    }
    void end() {
        if (mEnds[1] != -1) {
            close(mEnds[1]);
            mEnds[1] = -1;
        }
    }

    /** Takes the blocked signal, so that the next test does not meet it. */
    static void take(int number) {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, number);
        int taken = 0;
        EXPECT_EQ(0, sigwait(&set, &taken));
    }

    int mEnds[2] = {-1, -1};
    std::unique_ptr<CommandReader> mReader;
};

TEST_F(Reader, GivesLineByLine) {
    give("one\n\ntwo\nthr");
    EXPECT_EQ("one", mReader->next());
    EXPECT_EQ("", mReader->next());
    EXPECT_EQ("two", mReader->next());
    give("ee\n");
    EXPECT_EQ("three", mReader->next());
}

TEST_F(Reader, TheLastLineNeedsNoLineFeed) {
    give("one\ntwo");
    end();
    EXPECT_EQ("one", mReader->next());
    EXPECT_EQ("two", mReader->next());
    EXPECT_EQ(std::nullopt, mReader->next());
    EXPECT_EQ(std::nullopt, mReader->next());
}

TEST_F(Reader, ALineMayBeLongerThanOneRead) {
    std::string const line(1000000, 'x');
    std::thread writer([&] { give(line + "\nnext\n"); });
    EXPECT_TRUE(mReader->next() == line);
    EXPECT_EQ("next", mReader->next());
    writer.join();
}

TEST_F(Reader, ASignalEndsItBeforeWhatIsLeft) {
    for (int const number : {SIGTERM, SIGINT}) {
        CommandReader reader(mEnds[0]);
        pthread_kill(pthread_self(), number);
        EXPECT_EQ(std::nullopt, reader.next());
        EXPECT_EQ(std::nullopt, reader.next());
        reader.waitForSignal();
        take(number);
    }
}

TEST_F(Reader, WaitsForASignal) {
    pthread_t const self = pthread_self();
    std::thread sender([self] { pthread_kill(self, SIGTERM); });
    mReader->waitForSignal();
    sender.join();
    EXPECT_EQ(std::nullopt, mReader->next());
    take(SIGTERM);
}

} // namespace
