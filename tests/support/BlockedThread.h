#pragma once

#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

/** The kernel's id of the calling thread. */
inline pid_t threadId() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

/** True while a thread of this process waits in the kernel. */
inline bool isBlocked(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string line;
    std::getline(file, line);
    std::size_t const name = line.rfind(')');
    return name != std::string::npos && line.compare(name, 3, ") S") == 0;
}

/** True while a thread of this process waits in a function of the kernel that is named like this.
 */
inline bool isBlockedIn(char const* name, std::string const& thread) {
    std::ifstream file("/proc/self/task/" + thread + "/wchan");
    std::string function;
    return std::getline(file, function) && function.find(name) != std::string::npos;
}

/** Long enough for a loaded machine; reached only by failures. */
constexpr std::chrono::seconds LONGEST_WAIT{60};

/** Waits until something holds, LONGEST_WAIT at most. */
template <class Condition>
bool waitUntil(Condition holds) {
    auto const deadline = std::chrono::steady_clock::now() + LONGEST_WAIT;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

/** Waits until a thread waits in the kernel, LONGEST_WAIT at most. */
inline bool waitUntilBlocked(pid_t thread) {
    return waitUntil([thread] { return isBlocked(thread); });
}

/** How often a thread of this process has begun to wait in the kernel. */
inline long timesGoneToSleep(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/status");
    std::string key;
    long value = -1;
    while (file >> key) {
        if (key == "voluntary_ctxt_switches:") {
            file >> value;
        }
    }
    return value;
}
