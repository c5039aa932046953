#include "tools/Replies.h"

#include "tools/Failures.h"
#include "unit/tools/support/CommandRun.h"

namespace {

struct Report {
    std::string out;
    std::string failure;
};

Report report(std::string const& name, bool json) {
    std::istringstream in;
    std::ostringstream out;
    std::ostringstream err;
    Console console = {in, out, err};
    Json::Value reply;
    reply["Name"] = name;
    reply["Value"] = 0;
    try {
        reportStatus(console, reply, json);
        return {out.str(), ""};
    } catch (Failure const& failure) {
        EXPECT_EQ(failure.status(), Failed);
        return {out.str(), failure.what()};
    }
}

} // namespace

TEST(Replies, AStatusThatKeepsTheTagIsDone) {
    for (char const* const name : {"OK", "TARGET_FULL", "STORED_LOCAL", "STORED_ON_TARGET",
                                   "TRANSFER_SUCCEEDED", "STOREDLOCAL_IPOD_INCOMPATIBLE"}) {
        EXPECT_THAT(report(name, false).out, testing::StartsWith(std::string(name) + ": "));
        EXPECT_EQ(report(name, false).failure, "");
    }
}

TEST(Replies, AStatusThatLosesTheTagIsAFailure) {
    for (char const* const name :
         {"ERROR", "LOCAL_STORAGE_FULL", "TRANSFER_FAILED", "LOCALFULL_IPOD_INCOMPATIBLE"}) {
        EXPECT_EQ(report(name, false).out, "");
        EXPECT_THAT(report(name, false).failure, testing::StartsWith(std::string(name) + ": "));
    }
    EXPECT_EQ(report("NEW", false).failure, "NEW: a status that this client does not know");
}

TEST(Replies, TheRadioSideSaysItselfWhatIsWrong) {
    std::istringstream in;
    std::ostringstream out;
    Console console = {in, out, out};
    Json::Value reply;
    reply["Name"] = "NO_SERVICE";
    reply["Message"] = "Start the service.";
    try {
        reportStatus(console, reply, false);
        ADD_FAILURE() << "reported as done";
    } catch (Failure const& failure) {
        EXPECT_STREQ(failure.what(), "NO_SERVICE: Start the service.");
        EXPECT_EQ(failure.status(), Unreachable);
    }
}

TEST(Replies, JsonIsTheReplyAsItCame) {
    EXPECT_EQ(report("STORED_LOCAL", true).out, "{\"Name\":\"STORED_LOCAL\",\"Value\":0}\n");
    EXPECT_EQ(report("ERROR", true).out, "{\"Name\":\"ERROR\",\"Value\":0}\n");
    EXPECT_NE(report("ERROR", true).failure, "");
}

TEST(Replies, AnAnswerIsAnObject) {
    EXPECT_EQ(parseReply("{\"a\":1}\n")["a"].asInt(), 1);
    EXPECT_THROW(parseReply("[]"), Failure);
    EXPECT_THROW(parseReply("{"), Failure);
}
