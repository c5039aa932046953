#include "radio/Buttons.h"

#include "radio/PlainLoop.h"
#include "support/TempDir.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>

using testing::AllOf;
using testing::HasSubstr;

namespace {

/** A loop that ends when the button was pressed this often. */
struct Pressing {
    PlainLoop loop;
    int presses = 0;
    int awaited = 1;

    std::function<void()> button() {
        return [this] {
            if (++presses == awaited) {
                loop.end();
            }
        };
    }
};

std::string refusal(std::string const& path) {
    try {
        ControlFifo const control(path, [] {});
        return "";
    } catch (std::runtime_error const& failure) {
        return failure.what();
    }
}

bool isFifo(std::string const& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
}

} // namespace

TEST(ControlFifo, EachLineTagIsAPress) {
    TempDir folder;
    Pressing pressing;
    pressing.awaited = 3;
    ControlFifo control(folder.path("control"), pressing.button());
    pressing.loop.add(control);
    std::ofstream(folder.path("control")) << "tag\ntag\r\n\n";
    std::ofstream(folder.path("control")) << "tag\n";
    pressing.loop.run();
    EXPECT_EQ(pressing.presses, 3);
}

TEST(ControlFifo, OtherLinesAreSaidAndAreNoPress) {
    TempDir folder;
    Pressing pressing;
    ControlFifo control(folder.path("control"), pressing.button());
    pressing.loop.add(control);
    testing::internal::CaptureStderr();
    std::ofstream(folder.path("control")) << "tags\ntag\n";
    pressing.loop.run();
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                AllOf(HasSubstr(folder.path("control")), HasSubstr("\"tag\"")));
    EXPECT_EQ(pressing.presses, 1);
}

TEST(ControlFifo, IsMadeAndRemovedAgain) {
    TempDir folder;
    {
        ControlFifo const control(folder.path("control"), [] {});
        EXPECT_TRUE(isFifo(folder.path("control")));
    }
    EXPECT_FALSE(folder.has("control"));
}

TEST(ControlFifo, OneThatWasThereStays) {
    TempDir folder;
    ASSERT_EQ(mkfifo(folder.path("control").c_str(), 0600), 0);
    {
        ControlFifo const control(folder.path("control"), [] {});
    }
    EXPECT_TRUE(isFifo(folder.path("control")));
}

TEST(ControlFifo, WhatIsNoFifoIsRefusedAndStays) {
    TempDir folder;
    folder.write("file", "x");
    EXPECT_THAT(refusal(folder.path("file")),
                AllOf(HasSubstr(folder.path("file")), HasSubstr("no FIFO")));
    EXPECT_EQ(folder.read("file"), "x");
    EXPECT_THAT(refusal(folder.path("none/control")),
                AllOf(HasSubstr("none/control"), HasSubstr("No such file")));
    EXPECT_THAT(refusal(folder.path()), HasSubstr("directory"));
}

TEST(Signals, Usr1IsAPressAndTermAndIntAreTheEnd) {
    Pressing pressing;
    int ends = 0;
    Signals signals(pressing.button(), [&] {
        ++ends;
        pressing.loop.end();
    });
    pressing.loop.add(signals);
    signals.ready();
    EXPECT_EQ(pressing.presses + ends, 0);
    raise(SIGUSR1);
    pressing.loop.run();
    EXPECT_EQ(pressing.presses, 1);
    for (int const signal : {SIGTERM, SIGINT}) {
        raise(signal);
        signals.ready();
    }
    EXPECT_EQ(ends, 2);
    EXPECT_EQ(pressing.presses, 1);
}
