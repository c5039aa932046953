#pragma once

#include <cstdlib>

/** Whether the behaviour of this number is the one that this process does without. */
inline bool songlatch_taken_out(int number) {
    static char const* const text = std::getenv("SONGLATCH_TAKEN_OUT");
    static int const chosen = text == nullptr ? 0 : std::atoi(text);
    return number == chosen;
}
