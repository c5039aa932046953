#pragma once

#include "tagdata/CTagException.h"

/**
 * Runs work and ends the journey of whatever it throws.
 * @return whether the work came to its end
 */
template <class Work>
bool guarded(Work&& work) {
    try {
        work();
        return true;
    } catch (...) {
        dropException();
        return false;
    }
}
