#pragma once

#include "tools/CommandLine.h"
#include "tools/Console.h"

#include <gmock/gmock.h>

#include <json/reader.h>
#include <json/value.h>

#include <sstream>
#include <string>
#include <vector>

/** What a command did. */
struct Outcome {
    int status;
    std::string out;
    std::string err;
};

inline Outcome run(std::vector<std::string> const& words, std::string const& input = "") {
    std::istringstream in(input);
    std::ostringstream out;
    std::ostringstream err;
    int const status = runCommandLine(words, {in, out, err});
    return {status, out.str(), err.str()};
}

/** The one JSON document that a command printed. */
inline Json::Value jsonOf(Outcome const& outcome) {
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    Json::Value value;
    EXPECT_TRUE(Json::Reader().parse(outcome.out, value)) << outcome.out;
    return value;
}

/** Nothing on standard output, and one line that says why. */
inline void expectFailure(Outcome const& outcome, int status, std::string const& message) {
    EXPECT_EQ(outcome.status, status);
    EXPECT_THAT(outcome.err, testing::StartsWith("songlatchctl: "));
    EXPECT_THAT(outcome.err, testing::HasSubstr(message));
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_EQ(outcome.out, "");
}
