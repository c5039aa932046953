#include "platform/FreeMemory.h"

#include <malloc.h>

void giveBackFreeMemory() {
    // A trim does not look at the end of a heap that belongs to another thread. What is freed there
    // goes back by itself only if it is joined at once to what is free beside it, and if the
    // thresholds do not grow with what is freed, as they do until they are set.
    constexpr int THRESHOLD_BYTES = 256 * 1024;
    mallopt(M_MMAP_THRESHOLD, THRESHOLD_BYTES);
    mallopt(M_TRIM_THRESHOLD, THRESHOLD_BYTES);
    mallopt(M_MXFAST, 0);
    malloc_trim(0);
}
