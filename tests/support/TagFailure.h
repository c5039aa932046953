#pragma once

#include "tagdata/CTagException.h"

#include <memory>
#include <string>

/** What a failing call threw. */
struct TagFailure {
    int code = 0; ///< 0 if nothing was thrown
    std::string message;
    int systemError = 0;
};

/**
 * Runs a call and takes the CTagException it throws, if any.
 *
 *     EXPECT_EQ(failureOf([&] { list.RemoveFront(); }).code, CTagException::ExEmptyList);
 */
template <class Call>
TagFailure failureOf(Call const& call) {
    try {
        call();
    } catch (CTagException* thrown) {
        std::unique_ptr<CTagException> const exception(thrown);
        return {exception->ExCode(), exception->Message(), exception->SystemError};
    }
    return {};
}
