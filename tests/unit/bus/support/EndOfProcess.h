#pragma once

#include <cstdio>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

/** The code must end the process with status 0, having printed exactly what matches. */
inline void expectEndOfProcess(std::function<void()> const& code,
                               testing::Matcher<std::string const&> const& printed) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        {
            std::fflush(stdout);
            dup2(STDERR_FILENO, STDOUT_FILENO);
            code();
        },
        testing::ExitedWithCode(0), printed);
}
