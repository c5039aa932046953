#pragma once

#include <sched.h>

/** How many processors the calling thread may run on. */
inline int usableProcessors() {
    cpu_set_t usable;
    // It fails where there are more than the set holds.
    return sched_getaffinity(0, sizeof usable, &usable) == 0 ? CPU_COUNT(&usable) : CPU_SETSIZE;
}
