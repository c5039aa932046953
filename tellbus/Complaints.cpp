#include "tellbus/Complaints.h"

#include "platform/Mutex.h"
#include "tellbus/Clock.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <unistd.h>

namespace tellbus {

namespace {

constexpr std::chrono::seconds PAUSE{1};
constexpr std::size_t LONGEST_DETAIL = 800;
constexpr std::array<char const*, 10> TEXTS = {
    "dropped a signal whose argument is not one string: ",
    "dropped a signal whose sender does not own the name: ",
    "took a reply that is not one string as failed: ",
    "the bus refused a subscription: ",
    "could not take a name back: ",
    "the bus is gone: ",
    "caught an exception: ",
    "cannot use an interface description: ",
    "dropped a reply from somebody who was not called: ",
    "dropped a call that wants no reply: ",
};

/** Whether a line of this cause may go out now. */
bool due(std::size_t cause) {
    static Mutex mutex;
    static std::array<std::optional<TimePoint>, TEXTS.size()> last GUARDED_BY(mutex);
    TimePoint const now = Clock::now();
    MutexLock const lock(mutex);
    if (last.at(cause) && now - *last.at(cause) < PAUSE) {
        return false;
    }
    last.at(cause) = now;
    return true;
}

std::string inOneLine(std::string const& detail) {
    std::string line = detail.substr(0, LONGEST_DETAIL);
    std::replace_if(
        line.begin(), line.end(), [](unsigned char character) { return std::iscntrl(character); },
        ' ');
    return line;
}

} // namespace

void complain(Complaint cause, std::string const& detail) noexcept {
    try {
        auto const index = static_cast<std::size_t>(cause);
        if (!due(index)) {
            return;
        }
        std::string const line =
            std::string("libtellbus: ") + TEXTS.at(index) + inOneLine(detail) + "\n";
        [[maybe_unused]] ssize_t const written = write(STDERR_FILENO, line.data(), line.size());
    } catch (...) { // NOLINT(bugprone-empty-catch): a line that cannot be written is lost
    }
}

} // namespace tellbus
