#pragma once

#include "service/RequestedTag.h"
#include "service/StoredTags.h"
#include "service/Surroundings.h"

#include <string>
#include <vector>

/** The storing of one request's tags, from the files to iPods or back to the files. */
class Storing {
public:
    /**
     * @param stored   the tags of this piece of work, nothing loaded yet
     * @param deviceId the device that the request names, -1 for none
     */
    Storing(StoredTags& stored, int deviceId, Surroundings const& around);

    /**
     * One tag is a single tag; several are the candidates of one ambiguous tag.
     * @throws CTagException* if the configuration file cannot be parsed
     */
    TaggingStatus::Number run(std::vector<RequestedTag> const& tags);

private:
    enum class Next { WriteDevice, NextDevice, StopWalk };

    void addNewTags(std::vector<RequestedTag> const& tags);
    void offerToDevices();
    Next chooseByPolicy(CMediaDevice const& device);
    Next chooseIfSpecified(CMediaDevice const& device);
    void writeDevice(CMediaDevice const& device);
    void storeAfterFailure();
    void storeLocally();
    void recordStoredLocally();
    void log(std::string const& message, stdTools::ErrorLevel level = stdTools::Message) const;
    unsigned int recordedDevice() const;

    StoredTags& mStored;
    int mDeviceId;
    Surroundings const& mAround;
    int mTotal = 0; ///< stored tags before this request
    TaggingStatus::Number mResult = TaggingStatus::OK;
    bool mPending = true;    ///< no iPod has taken the tags, so the local files must
    bool mForceLocal = true; ///< a local store makes the result STORED_LOCAL, a failed write counts
};
