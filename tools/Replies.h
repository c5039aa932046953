#pragma once

#include <json/value.h>

#include <string>

struct Console;

/** A reply as a value. @throws Failure if it is no JSON object */
Json::Value parseReply(std::string const& text);

/** What a status of the service means to the one who asked. */
struct StatusMeaning {
    char const* name;
    bool isDone; ///< the tag is kept, or what was asked has happened
    char const* meaning;
};

/** The meaning of a status name; one that is not known is no success. */
StatusMeaning const& meaningOf(std::string const& name);

/** Prints a reply that holds a status. @throws Failure if the service said no */
void reportStatus(Console& console, Json::Value const& reply, bool json);

/** A text of an answer; empty if it holds something else there. */
std::string textAt(Json::Value const& value, char const* key);
