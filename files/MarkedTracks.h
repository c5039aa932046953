#pragma once

#include <string>

class CConfigInfo;

/**
 * The property list that an iPod gets, whole, around the dictionaries of its tags, single ones
 * before ambiguous ones.
 */
std::string markedTracks(CConfigInfo const& config, std::string const& dictionaries);
