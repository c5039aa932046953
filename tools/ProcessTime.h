#pragma once

#include <cstdint>
#include <ctime>
#include <optional>

/** When a process of this machine began; none if it cannot be seen from here. */
std::optional<std::time_t> processStart(std::uint32_t pid);
