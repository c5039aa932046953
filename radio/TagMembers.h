#pragma once

#include "radio/Record.h"

#include <string>
#include <string_view>
#include <vector>

/** The members of a tag as "tagRequest" takes them. */
namespace tagmember {
constexpr char NAME[] = "Name";
constexpr char ARTIST[] = "Artist";
constexpr char ALBUM[] = "Album";
constexpr char GENRE[] = "Genre";
constexpr char SONG_ID[] = "iTunesSongID";
constexpr char STATION_URL[] = "StationURL";
constexpr char CALL_LETTERS[] = "StationCallLetters";
constexpr char FREQUENCY[] = "StationFrequency";
constexpr char PROGRAM_NUMBER[] = "ProgramNumber";
constexpr char TIME_STAMP[] = "TimeStamp";
constexpr char BUTTON_PRESSED[] = "ButtonPressed";
} // namespace tagmember

/** The names of those that describe a song, in the order in which people are shown them. */
std::vector<std::string> const& songMembers();

/**
 * Stores one member of a tag in a record. What "tagRequest" could not take, as a text where it has
 * a number, is left out: such a request would end the service.
 * @param name the letters may be in either case
 * @return whether it is a member of a song
 */
bool storeTagMember(Record& record, std::string_view name, std::string const& text);
