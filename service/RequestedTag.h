#pragma once

#include "tagdata/CAmbigTag.h"
#include "tagdata/CTag.h"

#include <json/value.h>

#include <string>

/** One tag as it arrives in JSON; each member has its key's name. */
struct RequestedTag {
    std::string Artist;
    std::string Name;
    std::string Album;
    bool ButtonPressed = false;
    std::string Genre;
    std::string iTunesAffiliateID;
    int iTunesSongID = -1; ///< negative: none
    std::string iTunesStationID;
    int iTunesStorefrontID = 0;
    int PodcastFeedURL = 0; ///< 0: none
    int ProgramNumber = 0;
    std::string StationCallLetters;
    std::string StationFrequency;
    std::string StationURL;
    std::string TimeStamp;
    std::string UnknownData;

    /** Reads one tag; keys that are no members are ignored. @throws Json::Exception */
    static RequestedTag read(Json::Value const& json);

    /** A record of a single tag, owned by the caller. */
    CTag* createCTag() const;
    /** A record of one candidate of an ambiguous tag, owned by the caller. */
    CAmbigTag* createCAmbigTag() const;
};
