#pragma once

#include "tagdata/CTagException.h"

#include <memory>

/**
 * Runs work and ends the journey of whatever it throws.
 * @return whether the work came to its end
 */
template <class Work>
bool guarded(Work&& work) {
    try {
        work();
        return true;
    } catch (CTagException* exception) {
        std::unique_ptr<CTagException> const owned(exception);
        return false;
    } catch (...) {
        return false;
    }
}
