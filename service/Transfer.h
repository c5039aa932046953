#pragma once

#include "service/StoredTags.h"
#include "service/Surroundings.h"

#include <string>

/** One transfer of all waiting tags to the first iPod that supports tagging and takes them. */
class Transfer {
public:
    /** @param stored the tags of this piece of work, nothing loaded yet */
    Transfer(StoredTags& stored, Surroundings const& around);

    /** @throws CTagException* if the configuration file cannot be parsed */
    void run();

private:
    void offerToDevices();
    void writeDevice(CMediaDevice const& device);
    void publishIncompatible();
    void keepTags();
    void log(std::string const& message) const;

    StoredTags& mStored;
    Surroundings const& mAround;
    int mTotal = 0;
    bool mPending = true;    ///< no iPod has taken the tags yet
    bool mAttempted = false; ///< a capable iPod was found and a write was tried
};
