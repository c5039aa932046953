#include "platform/WakeAhead.h"

// Only the latency depends on it, and that has not been measured here.
void wakeAhead(int /*coid*/) {}
