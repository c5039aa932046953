// The one seam between the two ways of working. The configuration is read here without a trace, as
// the default way reads and logs it by itself when its work comes to that.
#include "service/KeepingChoice.h"

#include "bus/ArrivalBounds.h"
#include "files/XMLTools.h"

KeepingChoice::KeepingChoice(Keeping& ordinary, SafeSurroundings around,
                             std::function<void(bool watched)> watchMedia)
    : mOrdinary(ordinary), mAround(std::move(around)), mWatchMedia(std::move(watchMedia)) {}

KeepingChoice::~KeepingChoice() {
    ArrivalBounds::set(false);
}

Keeping& KeepingChoice::first() {
    choose();
    return current();
}

Keeping& KeepingChoice::next() {
    if (choose()) {
        mSafe->begin();
    }
    return current();
}

Keeping& KeepingChoice::current() {
    return mSafe != nullptr ? *mSafe : mOrdinary;
}

bool KeepingChoice::choose() {
    std::shared_ptr<CConfigInfo const> config = mConfig.read(XMLTools::_CONFIGFILEPATH);
    if (config == nullptr) {
        if (mSafe != nullptr) {
            mSafe->keepLastConfig();
        }
        return false;
    }
    bool const wasSafe = mSafe != nullptr;
    bool const isSafe = config->safeKeeping();
    if (isSafe != wasSafe) {
        mSafe = isSafe ? std::make_unique<SafeKeeping>(mAround) : nullptr;
        ArrivalBounds::set(isSafe);
        mWatchMedia(isSafe);
    }
    if (isSafe) {
        mSafe->use(std::move(config));
    }
    return isSafe && !wasSafe;
}
