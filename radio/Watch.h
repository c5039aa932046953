#pragma once

#include "radio/Descriptor.h"

#include <map>

/**
 * A set of descriptors, each with something of the caller's that it is known by. A descriptor that
 * was found readable is left out until watch() is called for it again.
 *
 * wait() may run on one thread while the others run on another one.
 */
class Watch {
public:
    Watch();

    /** Waits for this descriptor, too, or again. @param key what wait() gives; not owned */
    void watch(int descriptor, void* key);

    /** Waits for the next readable one and gives its key; null after a wake(). */
    void* wait();

    /** Has wait() return null from now on. */
    void wake();

private:
    int alwaysReadable(int descriptor);

    Descriptor mSet;
    Descriptor mWake;
    /** Stand-ins for descriptors that can't be waited for, since they are always readable. */
    std::map<int, Descriptor> mStandIns;
};
