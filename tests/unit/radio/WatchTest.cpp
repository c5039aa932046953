#include "radio/Watch.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <thread>
#include <unistd.h>

namespace {

struct Pipe {
    Pipe() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) == 0) {
            out = Descriptor(ends[0]);
            in = Descriptor(ends[1]);
        }
    }
    void write() const { EXPECT_EQ(::write(in.get(), "x", 1), 1); }

    Descriptor out;
    Descriptor in;
};

} // namespace

TEST(Watch, GivesTheKeyOfWhatIsReadable) {
    Watch watch;
    Pipe one;
    Pipe two;
    watch.watch(one.out.get(), &one);
    watch.watch(two.out.get(), &two);
    two.write();
    EXPECT_EQ(watch.wait(), &two);
}

TEST(Watch, ADescriptorIsLeftOutUntilItIsWatchedAgain) {
    Watch watch;
    Pipe one;
    Pipe two;
    watch.watch(one.out.get(), &one);
    watch.watch(two.out.get(), &two);
    one.write();
    EXPECT_EQ(watch.wait(), &one);
    two.write();
    EXPECT_EQ(watch.wait(), &two);
    watch.watch(one.out.get(), &one);
    EXPECT_EQ(watch.wait(), &one);
}

TEST(Watch, AWaitOnAnotherThreadSeesWhatIsAddedLater) {
    Watch watch;
    Pipe pipe;
    pipe.write();
    void* key = nullptr;
    std::thread waiting([&] { key = watch.wait(); });
    watch.watch(pipe.out.get(), &pipe);
    waiting.join();
    EXPECT_EQ(key, &pipe);
}

TEST(Watch, AFileIsAlwaysReadable) {
    TempDir folder;
    folder.write("file", "x");
    Descriptor const file(open(folder.path("file").c_str(), O_RDONLY | O_CLOEXEC));
    Watch watch;
    int key = 0;
    for (int time = 0; time < 3; ++time) {
        watch.watch(file.get(), &key);
        EXPECT_EQ(watch.wait(), &key);
    }
}

TEST(Watch, IsWokenForGood) {
    Watch watch;
    watch.wake();
    EXPECT_EQ(watch.wait(), nullptr);
    EXPECT_EQ(watch.wait(), nullptr);
}

TEST(Watch, ADescriptorThatIsNoneIsRefused) {
    Watch watch;
    EXPECT_THROW(watch.watch(-1, nullptr), std::exception);
}
