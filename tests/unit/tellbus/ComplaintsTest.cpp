#include "tellbus/Complaints.h"

#include "support/StderrFile.h"
#include "tellbus/Clock.h"

#include <gtest/gtest.h>

using namespace tellbus;
using namespace std::chrono_literals;

TEST(Complaints, ComeAgainForTheSameCauseOnceASecondHasPassed) {
    std::string const line = "libtellbus: the bus refused a subscription: any\n";
    StderrFile const said;
    TimePoint const before = Clock::now();
    complain(Complaint::MatchRule, "any");
    TimePoint const after = Clock::now();
    ASSERT_EQ(said.text(), line);
    TimePoint asked;
    do {
        asked = Clock::now();
        complain(Complaint::MatchRule, "any");
    } while (said.text() == line && asked < after + 1s);
    EXPECT_GE(Clock::now(), before + 1s);
    EXPECT_EQ(said.text(), line + line);
}

TEST(Complaints, AreOneLineASecondForTheSameCause) {
    testing::internal::CaptureStderr();
    TimePoint const before = Clock::now();
    for (int index = 0; index < 1000; ++index) {
        complain(Complaint::BadSignal, "first");
    }
    auto const whole = std::chrono::floor<std::chrono::seconds>(Clock::now() - before).count();
    std::string said = testing::internal::GetCapturedStderr();
    std::string const line =
        "libtellbus: dropped a signal whose argument is not one string: first\n";
    long lines = 0;
    for (; said.compare(0, line.size(), line) == 0; ++lines) {
        said.erase(0, line.size());
    }
    EXPECT_EQ(said, "");
    EXPECT_GE(lines, 1);
    // One more for each second that a loaded machine has taken.
    EXPECT_LE(lines, 1 + whole);
}

TEST(Complaints, OfOneCauseKeepNoOtherFromBeingSaid) {
    testing::internal::CaptureStderr();
    complain(Complaint::ForgedSignal, "first");
    complain(Complaint::BadReply, "second");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "libtellbus: dropped a signal whose sender does not own the name: first\n"
              "libtellbus: took a reply that is not one string as failed: second\n");
}

TEST(Complaints, AreOneShortLineWhateverTheyTell) {
    testing::internal::CaptureStderr();
    complain(Complaint::NameLost, "one\ntwo\x1b[0m" + std::string(100000, 'x'));
    std::string const line = testing::internal::GetCapturedStderr();
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    EXPECT_EQ(line.find('\x1b'), std::string::npos);
    EXPECT_LT(line.size(), 1000U);
}
