#pragma once

#include "tagdata/CAmbigTag.h"
#include "tagdata/CTag.h"

#include <json/value.h>

#include <array>
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

/** A text of a request, and the field of a record that keeps it. */
struct RequestedText {
    char const* key;
    std::string RequestedTag::*member;
    void (CTag::*keep)(std::string);
};

constexpr std::array<RequestedText, 10> REQUESTED_TEXTS = {{
    {"Artist", &RequestedTag::Artist, &CTag::Artist},
    {"Name", &RequestedTag::Name, &CTag::Name},
    {"Album", &RequestedTag::Album, &CTag::Album},
    {"Genre", &RequestedTag::Genre, &CTag::Genre},
    {"iTunesAffiliateID", &RequestedTag::iTunesAffiliateID, &CTag::iTunesAffiliateID},
    {"StationCallLetters", &RequestedTag::StationCallLetters, &CTag::StationCallLetters},
    {"StationFrequency", &RequestedTag::StationFrequency, &CTag::StationFrequency},
    {"StationURL", &RequestedTag::StationURL, &CTag::StationURL},
    {"TimeStamp", &RequestedTag::TimeStamp, &CTag::TimeStamp},
    {"UnknownData", &RequestedTag::UnknownData, &CTag::UnknownData},
}};
