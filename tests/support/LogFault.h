#pragma once

#include <functional>
#include <string>

/**
 * While it lives, logging a line that begins with a text runs an action instead, once.
 *
 * For programs that use the target log_fault, which leads their stdTools::Output through the linker
 * to a stand-in; without a LogFault that is the real one.
 */
class LogFault {
public:
    LogFault(std::string beginning, std::function<void()> action);
    ~LogFault();
    LogFault(LogFault const&) = delete;
    LogFault& operator=(LogFault const&) = delete;
};
