#pragma once

#include <json/value.h>

#include <iosfwd>

class CAmbigTag;
class CTag;

/**
 * Decoded tags in the form that "tagRequest" takes. That form holds iTunesSongID and
 * PodcastFeedURL as numbers of 32 bits and the button as yes or no. What it cannot carry is left
 * out or changed, and a line on the warning stream says so.
 */
Json::Value toJson(CTag const& tag, std::ostream& warnings);
Json::Value toJson(CAmbigTag const& candidate, std::ostream& warnings);
