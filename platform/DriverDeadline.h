#pragma once

#include <chrono>

/**
 * A limit for what drivers are asked: while it lives, opening a control node and every exchange
 * with one on this thread end with ETIMEDOUT once the time is up, counted from its making. Without
 * one, and that is the default, they wait as long as the driver does. One at a time on a thread.
 *
 * An exchange that has missed it ends its connection, so that a late answer reaches nobody.
 */
class DriverDeadline {
public:
    explicit DriverDeadline(std::chrono::milliseconds time);
    ~DriverDeadline();
    DriverDeadline(DriverDeadline const&) = delete;
    DriverDeadline& operator=(DriverDeadline const&) = delete;
};
