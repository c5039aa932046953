#include "tools/ProcessTime.h"

#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

namespace {

/** The ticks since the system's start, of the line that /proc gives of a process. */
std::optional<long long> startTicks(std::uint32_t pid) {
    // Counted from behind the program's name, which may hold blanks and brackets.
    constexpr int FIELDS_BEFORE = 19;
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(file, line);
    std::istringstream fields(line.substr(std::min(line.rfind(')'), line.size() - 1) + 1));
    std::string skipped;
    for (int field = 0; field < FIELDS_BEFORE; ++field) {
        fields >> skipped;
    }
    long long ticks = 0;
    return fields >> ticks ? std::make_optional(ticks) : std::nullopt;
}

std::time_t systemStart() {
    timespec now{};
    timespec sinceStart{};
    clock_gettime(CLOCK_REALTIME, &now);
    clock_gettime(CLOCK_BOOTTIME, &sinceStart);
    return now.tv_sec - sinceStart.tv_sec;
}

} // namespace

std::optional<std::time_t> processStart(std::uint32_t pid) {
    std::optional<long long> const ticks = startTicks(pid);
    if (!ticks) {
        return std::nullopt;
    }
    return systemStart() + static_cast<std::time_t>(*ticks / sysconf(_SC_CLK_TCK));
}
