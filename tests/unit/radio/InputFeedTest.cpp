#include "radio/InputFeed.h"

#include "Heard.h"
#include "radio/AnyReader.h"
#include "radio/PlainLoop.h"
#include "support/TempDir.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/** A feed into a programme that ends the loop at each event that it hears. */
struct Feeding : Heard {
    explicit Feeding(std::string const& path)
        : feed(path, std::make_unique<AnyReader>(*this),
               {[this] {
                    ended = true;
                    loop.end();
                },
                [] {}}) {
        feed.join(loop);
    }

    void takeRecord(Record const& record, std::optional<Record> const& other,
                    std::string const& time) override {
        Heard::takeRecord(record, other, time);
        if (endsAtEvents) {
            loop.end();
        }
    }

    PlainLoop loop;
    bool ended = false;
    bool endsAtEvents = false;
    InputFeed feed;
};

} // namespace

TEST(InputFeed, AFileIsHeardToItsEnd) {
    TempDir folder;
    folder.write("log", "Title: One\nArtist: A\nTitle: Two");
    Feeding feeding(folder.path("log"));
    feeding.loop.run();
    EXPECT_THAT(feeding.lines, ElementsAre("event title=One artist=A", "event title=Two"));
    EXPECT_TRUE(feeding.ended);
}

TEST(InputFeed, TheLastEventIsHeardAfterASilence) {
    TempDir folder;
    std::string const path = folder.path("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    Feeding feeding(path);
    feeding.endsAtEvents = true;
    Descriptor const in(open(path.c_str(), O_WRONLY | O_CLOEXEC));
    std::string const event = "Title: One\nArtist: A\n";
    ASSERT_EQ(write(in.get(), event.data(), event.size()), static_cast<ssize_t>(event.size()));
    feeding.loop.run();
    EXPECT_THAT(feeding.lines, ElementsAre("event title=One artist=A"));
    EXPECT_FALSE(feeding.ended);
}

TEST(InputFeed, FinishHandsOutWhatCameOfALine) {
    TempDir folder;
    folder.write("log", "");
    Feeding feeding(folder.path("log"));
    feeding.feed.settleSong();
    feeding.feed.finish();
    EXPECT_THAT(feeding.lines, IsEmpty());
}

TEST(InputFeed, DamagedLinesAreSaidOnce) {
    TempDir folder;
    folder.write("log", "{ one\n{ two\n");
    Feeding feeding(folder.path("log"));
    testing::internal::CaptureStderr();
    feeding.loop.run();
    std::string const said = testing::internal::GetCapturedStderr();
    EXPECT_THAT(said, HasSubstr(folder.path("log")));
    EXPECT_THAT(said, HasSubstr("--format"));
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1);
}

TEST(InputFeed, NothingIsSaidOfUnknownLines) {
    TempDir folder;
    folder.write("log", "BER: 0.1\n");
    Feeding feeding(folder.path("log"));
    testing::internal::CaptureStderr();
    feeding.loop.run();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}
