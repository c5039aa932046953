#pragma once

#include "service/RequestedTag.h"
#include "service/TaggingStatus.h"
#include "service/stdTools.h"

#include <json/value.h>

#include <functional>
#include <string>
#include <vector>

// The replies of the methods, each from the parameters of a call and from the operation that does
// the work. What the JSON library throws for parameters of the wrong type passes.

/** The signals, and the properties of "getProperties". */
constexpr char LOCALSTATUS[] = "localStatus";
constexpr char CONNECTIONSTATUS[] = "connectionStatus";
constexpr char TRANSFERSTATUS[] = "transferStatus";

/** The song id that a "checkTag" without one looks for. */
constexpr char NOSONGID[] = "0xFFFFFFFF";

/** Answer to "checkTag": the identity that was asked for, and whether the device has it. */
struct Taggable {
    bool tagged = false;
    std::string Name;
    std::string Artist;
    std::string iTunesSongID;
};

/** Stores tags for the device that the request names, -1 for none. */
using StoreTags = std::function<TaggingStatus::Number(std::vector<RequestedTag>& tags, int device)>;
/** Gives the values asked for. */
using ReadProperties = std::function<Json::Value(bool transfer, bool connection, bool local)>;

/** Reads the tags and has them stored. @param log takes one line */
Json::Value replyToTagRequest(Json::Value const& params, StoreTags const& store,
                              std::function<void(std::string const&)> const& log);
/** `{"props":{...}}` with those of the known names that stand in "props". */
Json::Value replyToGetProperties(Json::Value const& params, ReadProperties const& read);
Json::Value replyToCheckTag(Taggable const& result);
/** What clients get for a name that is no method. */
Json::Value replyToUnknownMethod();
