#include "tellbus/Complaints.h"

#include <gtest/gtest.h>

using namespace tellbus;

TEST(Complaints, AreOneLineASecondForTheSameCause) {
    testing::internal::CaptureStderr();
    for (int index = 0; index < 1000; ++index) {
        complain(Complaint::BadSignal, "first");
    }
    complain(Complaint::BadReply, "second");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "libtellbus: dropped a signal whose argument is not one string: first\n"
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
