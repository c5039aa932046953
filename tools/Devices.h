#pragma once

#include <json/value.h>

#include <map>
#include <string>

/** The name of each iPod in the media service's answer to "getDevices", by its id. */
std::map<int, std::string> deviceNames(std::string const& answer);

/** The ids in a "connectionStatus". */
std::vector<int> deviceIds(Json::Value const& connectionStatus);

/** "7 (Ilsen's iPod), 9"; "none" for none. */
std::string devicesText(std::vector<int> const& ids, std::map<int, std::string> const& names);
