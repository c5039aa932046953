#pragma once

#include <json/value.h>

#include <string>

/** What became of a request or a transfer. Numbers and names go out on the bus. */
struct TaggingStatus {
    enum Number : int {
        OK = 1,
        ERROR = 2,
        TARGET_FULL = 3,                   ///< the named iPod had no room; stored locally
        LOCAL_STORAGE_FULL = 4,            ///< the limit is reached; the request was dropped
        STORED_LOCAL = 5,                  ///< waits in the local files
        STORED_ON_TARGET = 6,              ///< an iPod took the tags
        TRANSFER_SUCCEEDED = 7,            ///< an iPod took the waiting tags
        TRANSFER_FAILED = 8,               ///< a capable iPod was there but took nothing
        STOREDLOCAL_IPOD_INCOMPATIBLE = 9, ///< no attached iPod supports tagging
        LOCALFULL_IPOD_INCOMPATIBLE = 10,  ///< the same, and the limit is reached
    };

    /** The status as the bus sees it. A number outside the list is an empty name and 0. */
    TaggingStatus(Number status);
    TaggingStatus& operator=(int status);

    std::string Name;
    int Value;
};

/** `{"Name":...,"Value":...}` */
Json::Value toJson(TaggingStatus const& status);
