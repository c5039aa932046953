#include "radio/LocalTime.h"

#include <array>
#include <ctime>

std::string timeOr(std::string const& time) {
    if (!time.empty()) {
        return time;
    }
    std::time_t const now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::array<char, sizeof "HH:MM:SS"> text{};
    std::strftime(text.data(), text.size(), "%H:%M:%S", &local);
    return text.data();
}
