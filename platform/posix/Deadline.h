#pragma once

#include <chrono>

/** Whether a DriverDeadline is set on this thread. */
bool hasDriverDeadline();

/** What is left of it, 0 if it is over. */
std::chrono::milliseconds driverTimeLeft();

/**
 * Waits until the descriptor is ready for the events of poll() or the deadline is over; at once if
 * there is no deadline. @return 0 or an errno value, ETIMEDOUT if it is over
 */
int waitWithinDeadline(int fd, short events);
