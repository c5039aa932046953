#pragma once

/**
 * Prints to standard output, for that is where the framework speaks and not in the service's log.
 * Flushes, so that a line is not lost when the process is killed. Any thread.
 */
[[gnu::format(printf, 1, 2)]] void report(char const* format, ...);
