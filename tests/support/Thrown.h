#pragma once

#include "tagdata/CTagException.h"

#include <memory>

/** The CTagException that an action throws by pointer, null if it throws none. */
template <class Action>
std::unique_ptr<CTagException> thrownBy(Action action) {
    try {
        action();
    } catch (CTagException* exception) {
        return std::unique_ptr<CTagException>(exception);
    }
    return nullptr;
}
