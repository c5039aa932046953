#include "platform/DriverDeadline.h"

#include <ctime>
#include <sys/neutrino.h>

// The kernel's own timeout would have to be armed before each single call; until somebody has done
// and measured that on the target, a driver there is waited for. docs/porting.md says so.

DriverDeadline::DriverDeadline(std::chrono::milliseconds /*time*/) {}

DriverDeadline::~DriverDeadline() {
    // There is nothing to disarm.
}
