#include "radio/Input.h"

#include "radio/PlainLoop.h"
#include "support/TempDir.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>

using testing::AllOf;
using testing::HasSubstr;

namespace {

/** An input in a loop that ends with it, or when as many bytes have come as are waited for. */
struct Reading {
    explicit Reading(std::string const& path)
        : input(path, {[this](std::string_view bytes) {
                           taken += bytes;
                           endWhenSeen();
                       },
                       [this] {
                           taken += "|";
                           endWhenSeen();
                       },
                       [this] {
                           taken += "$";
                           loop.end();
                       }}) {
        loop.add(input);
    }

    void until(std::string const& text) {
        awaited = text;
        loop.run();
    }

    void endWhenSeen() {
        if (taken == awaited) {
            loop.end();
        }
    }

    PlainLoop loop;
    std::string taken;
    std::string awaited;
    Input input;
};

Descriptor writer(std::string const& path) {
    return Descriptor(open(path.c_str(), O_WRONLY | O_CLOEXEC));
}

void write(Descriptor const& end, std::string const& text) {
    ASSERT_EQ(::write(end.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

std::string refusal(std::string const& path) {
    try {
        Input const input(path, {});
        return "";
    } catch (std::runtime_error const& failure) {
        return failure.what();
    }
}

/** Standard input for the time of a test. */
class StandardInput {
public:
    explicit StandardInput(int descriptor) : mBefore(dup(STDIN_FILENO)) {
        dup2(descriptor, STDIN_FILENO);
    }
    ~StandardInput() { dup2(mBefore.get(), STDIN_FILENO); }

private:
    Descriptor mBefore;
};

} // namespace

TEST(Input, AFileIsReadToItsEnd) {
    TempDir folder;
    std::string const bytes(200000, 'x');
    folder.write("log", bytes);
    Reading reading(folder.path("log"));
    reading.loop.run();
    EXPECT_EQ(reading.taken, bytes + "$");
    EXPECT_TRUE(reading.input.isRecord());
    EXPECT_FALSE(reading.input.isTerminal());
    EXPECT_EQ(reading.input.name(), folder.path("log"));
    EXPECT_EQ(reading.input.descriptor(), -1);
}

TEST(Input, AFifoIsReadOnWhenItsWriterHasGone) {
    TempDir folder;
    std::string const path = folder.path("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    Reading reading(path);
    write(writer(path), "one");
    write(writer(path), "two");
    reading.until("onetwo|");
    write(writer(path), "three");
    reading.until("onetwo|three|");
    EXPECT_FALSE(reading.input.isRecord());
    EXPECT_NE(reading.input.descriptor(), -1);
}

TEST(Input, StandardInputEndsWithItsWriter) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    Descriptor const out(ends[0]);
    StandardInput const standard(out.get());
    {
        Descriptor const in(ends[1]);
        write(in, "one");
    }
    Reading reading("-");
    reading.loop.run();
    EXPECT_EQ(reading.taken, "one$");
    EXPECT_FALSE(reading.input.isRecord());
    EXPECT_EQ(reading.input.name(), "standard input");
}

TEST(Input, AFileAsStandardInputIsARecord) {
    TempDir folder;
    folder.write("log", "one");
    Descriptor const file(open(folder.path("log").c_str(), O_RDONLY | O_CLOEXEC));
    StandardInput const standard(file.get());
    Reading reading("-");
    reading.loop.run();
    EXPECT_EQ(reading.taken, "one$");
    EXPECT_TRUE(reading.input.isRecord());
}

TEST(Input, WhatCannotBeReadIsRefusedWithTheReason) {
    TempDir folder;
    EXPECT_THAT(
        refusal(folder.path("none")),
        AllOf(HasSubstr(folder.path("none")), HasSubstr("No such file"), HasSubstr("--input")));
    EXPECT_THAT(refusal(folder.path()), AllOf(HasSubstr(folder.path()), HasSubstr("directory")));
}
