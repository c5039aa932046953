#include "tools/HeldFile.h"

#include "support/BlockedThread.h"
#include "support/TempDir.h"
#include "tools/Failures.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <future>

namespace {

/** Lets a thread open the file while it is held, and goes on once the thread waits for that. */
template <class Access>
auto accessed(Access access) {
    std::promise<std::string> thread;
    auto done = std::async(std::launch::async, [&thread, access] {
        thread.set_value(std::to_string(threadId()));
        return access();
    });
    std::string const waiting = thread.get_future().get();
    EXPECT_TRUE(waitUntil([&] { return isBlockedIn("lease", waiting); }));
    return done;
}

class Held : public testing::Test {
protected:
    Held() { mFolder.write("file", "old and long"); }

    bool changeTo(std::string const& bytes) {
        return held().change([&](std::string const&) { return bytes; });
    }

    HeldFile held(std::function<void()> quiet = [] {}) const {
        return {mFolder.path("file"), std::move(quiet)};
    }

    std::size_t filesInFolder() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(mFolder.path()), {}));
    }

    TempDir mFolder;
};

} // namespace

TEST_F(Held, HasTheNewBytesAndNoOthers) {
    EXPECT_TRUE(held().change([](std::string const& text) {
        EXPECT_EQ(text, "old and long");
        return "new";
    }));
    EXPECT_EQ(mFolder.read("file"), "new");
    EXPECT_EQ(held().read(), "new");
}

TEST_F(Held, IsNotWrittenForTheSameBytes) {
    std::filesystem::file_time_type const then{};
    std::filesystem::last_write_time(mFolder.path("file"), then);
    EXPECT_FALSE(changeTo("old and long"));
    EXPECT_EQ(std::filesystem::last_write_time(mFolder.path("file")), then);
}

TEST_F(Held, KeepsWhoReadsItWaitingUntilItIsChanged) {
    std::future<std::string> reading;
    held().change([&](std::string const&) {
        reading = accessed([this] { return mFolder.read("file"); });
        return "new";
    });
    EXPECT_EQ(reading.get(), "new");
}

TEST_F(Held, LosesNothingThatIsWrittenMeanwhile) {
    std::future<void> writing;
    held().change([&](std::string const&) {
        writing = accessed([this] { mFolder.write("file", "newest"); });
        return "new";
    });
    writing.get();
    EXPECT_EQ(mFolder.read("file"), "newest");
}

TEST_F(Held, IsNotChangedWhileAWriterHasItOpen) {
    auto opened = std::make_unique<std::ofstream>(mFolder.path("file"), std::ios::trunc);
    HeldFile file = held([&] {
        if (opened) {
            *opened << "newer";
            opened.reset();
        }
    });
    file.change([](std::string const& text) { return text + " less one"; });
    EXPECT_EQ(mFolder.read("file"), "newer less one");
}

TEST_F(Held, IsNotChangedWhileAReaderHasItOpen) {
    auto opened = std::make_unique<std::ifstream>(mFolder.path("file"));
    std::string first;
    held([&] {
        if (opened) {
            std::getline(*opened, first);
            opened.reset();
        }
    }).change([](std::string const&) { return "new"; });
    EXPECT_EQ(first, "old and long");
    EXPECT_EQ(mFolder.read("file"), "new");
}

TEST_F(Held, LeavesNothingBeside) {
    changeTo("new");
    EXPECT_EQ(filesInFolder(), 1U);
}

TEST_F(Held, IsAsItWasIfTheChangeFails) {
    EXPECT_THROW(
        held().change([](std::string const&) -> std::string { throw Failure("not like that"); }),
        Failure);
    EXPECT_EQ(mFolder.read("file"), "old and long");
    EXPECT_EQ(filesInFolder(), 1U);
}

TEST_F(Held, FollowsALink) {
    mFolder.write("real", "old");
    mFolder.remove("file");
    std::filesystem::create_symlink("real", mFolder.path("file"));
    EXPECT_TRUE(changeTo("new"));
    EXPECT_TRUE(std::filesystem::is_symlink(mFolder.path("file")));
    EXPECT_EQ(mFolder.read("real"), "new");
}

TEST_F(Held, FailsWithoutAFile) {
    mFolder.remove("file");
    EXPECT_THROW(changeTo("new"), Failure);
    EXPECT_TRUE(std::filesystem::is_empty(mFolder.path()));
}

TEST_F(Held, FailsIfItCannotBeToldWhetherAnotherHasDone) {
    std::ifstream const opened(mFolder.path("file"));
    EXPECT_THROW(
        held([] { throw Failure("no answer"); }).change([](std::string const&) { return "new"; }),
        Failure);
    EXPECT_EQ(mFolder.read("file"), "old and long");
}
