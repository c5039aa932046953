#pragma once

#include "radio/FileIdentifier.h"
#include "radio/NowPlaying.h"

#include <json/value.h>
#include <optional>
#include <string>

/** What the command line says of the reception, and how records become tags. */
struct Reception {
    std::string frequency;      ///< "95.5", empty if it was not given
    std::optional<int> program; ///< from 0, as the receiver counts
    SongIdRule songIds;
};

/** A song as a tag, without a time stamp. */
Json::Value songJson(Record const& song, Station const& station, Reception const& reception);

/**
 * The parameters of "tagRequest": one tag, or two candidates with the playing one marked. Nothing
 * in them can end the service or spoil its files.
 * @param timeStamp the moment of the press, in UTC
 */
Json::Value tagRequest(Marked const& marked, Station const& station, Reception const& reception,
                       std::string const& timeStamp);

/** The station as others are told: what is known of it. */
Json::Value stationJson(Station const& station);

/** A change as one line: the time, and a song in the order of songMembers() or null. */
std::string changeLine(std::string const& time, Json::Value const& song);
