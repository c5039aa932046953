#pragma once

#include <gtest/gtest.h>
#include <string>

/** What an action writes to standard output, through printf or through std::cout. */
template <class Action>
std::string stdoutOf(Action action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}
