#pragma once

#include "rig/Command.h"
#include "rig/DriverMessages.h"

#include <chrono>

/** What an iPod's driver is told to do wrong. */
struct Faults {
    /** The exchanges in which the driver goes away instead of answering. */
    enum class Vanish { Never, OnCapabilities, OnTags, Always };

    bool refuseOpen = false;
    int capabilitiesErrno = 0;
    int tagsErrno = 0;
    int tagsInfo = 0;
    std::chrono::milliseconds delay{0};
    Vanish vanish = Vanish::Never;

    /** The words that ordered them, "none" if nothing is wrong. */
    std::string text = "none";

    /** Reads words as in "open caps=EIO write=ENOSPC:7 slow=200 vanish". */
    static Faults from(Command const& command);

    /** Whether the driver goes away from such an exchange. */
    bool vanishesFrom(DriverRequest request) const;
};
