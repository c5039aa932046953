#pragma once

#include "files/safe/QuietConfig.h"
#include "service/SafeKeeping.h"

#include <functional>
#include <memory>

/**
 * Says in which way each piece of work is done: safely where the configuration that is in force at
 * its start has safeKeeping enabled, and in the default way everywhere else. Nothing else asks.
 */
class KeepingChoice {
public:
    /** @param ordinary the default way, which outlives this object */
    KeepingChoice(Keeping& ordinary, SafeSurroundings around,
                  std::function<void(bool watched)> watchMedia);
    ~KeepingChoice();

    /** The way for the first piece of work, which has not begun. */
    Keeping& first();
    /** The way for the next one. Where the configuration has changed it, the new way begins here.
     */
    Keeping& next();

private:
    bool choose();
    Keeping& current();

    Keeping& mOrdinary;
    SafeSurroundings mAround;
    std::function<void(bool)> mWatchMedia;
    QuietConfig mConfig;
    std::unique_ptr<SafeKeeping> mSafe;
};
