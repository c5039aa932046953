#pragma once

#include <algorithm>
#include <chrono>

namespace tellbus {

/** The growing pause between attempts to reach a bus that is away. */
class Backoff {
public:
    static constexpr std::chrono::milliseconds FIRST{20};
    /** A service has to answer within a second of the new bus, and connecting takes its time. */
    static constexpr std::chrono::milliseconds LONGEST{320};

    std::chrono::milliseconds next() {
        auto const pause = mNext;
        mNext = std::min(mNext * 2, LONGEST);
        return pause;
    }
    void reset() { mNext = FIRST; }

private:
    std::chrono::milliseconds mNext = FIRST;
};

} // namespace tellbus
