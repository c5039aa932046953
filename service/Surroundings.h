#pragma once

#include "service/MediaDevice.h"
#include "service/TaggingStatus.h"
#include "service/stdTools.h"

#include <functional>
#include <vector>

/**
 * What one piece of work needs of the service around it. Given to the work when it starts and never
 * kept beyond it, so that the work refers to no service and the service alone refers to the work.
 */
struct Surroundings {
    std::vector<CMediaDevice*> const& devices; ///< the attached iPods, in the order they came
    stdTools const& tools;                     ///< the service's log

    /** Publishes how many tags wait. */
    std::function<void(int current)> publishCurrent;
    /** Publishes how a transfer went. */
    std::function<void(TaggingStatus::Number status)> publishTransfer;
};
