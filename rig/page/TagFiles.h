#pragma once

#include <json/json.h>
#include <string>

/**
 * The service's files as the page shows them. The service rewrites them in place, so that a reader
 * may meet half a file: it is none then, and the next look finds the whole.
 */
namespace TagFiles {

/** The folder that a configuration names, with a slash at its end; "./" if it names none. */
std::string storageIn(std::string const& configuration);

/**
 * The tags that wait: each its attributes, and "kind", which is "Tag" or "AmbigTag". Singles first.
 * Null if a file is there but cannot be read.
 */
Json::Value waiting(std::string const& folder);

/** What went where: each entry its attributes and "devices". Null if it cannot be read. */
Json::Value record(std::string const& folder);

} // namespace TagFiles
