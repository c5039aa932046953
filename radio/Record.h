#pragma once

#include <json/value.h>
#include <string>

/**
 * What one event of a receiver says about the programme. A text that the event leaves out is empty;
 * all texts are clean (radio/Text.h).
 */
struct Record {
    std::string title;
    std::string artist;
    std::string album;
    std::string genre;
    std::string fileOwner; ///< of the unique file identifier
    std::string fileId;

    /** Further members of a tag that the input names by itself, as "tagRequest" takes them. */
    Json::Value tag = Json::Value(Json::objectValue);
};

inline bool operator==(Record const& one, Record const& other) {
    return one.title == other.title && one.artist == other.artist && one.album == other.album
           && one.genre == other.genre && one.fileOwner == other.fileOwner
           && one.fileId == other.fileId && one.tag == other.tag;
}

inline bool operator!=(Record const& one, Record const& other) {
    return !(one == other);
}
