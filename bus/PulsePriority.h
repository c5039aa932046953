#pragma once

#include <sched.h>

/** The priority of every pulse to the event server: the lowest of SCHED_RR. Any thread. */
inline int pulsePriority() {
    static int const lowest = sched_get_priority_min(SCHED_RR);
    return lowest;
}
