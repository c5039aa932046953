#pragma once

#include <json/json.h>
#include <string>

/** A device as the media service speaks of it. */
struct Device {
    int id = 0;
    std::string mountPoint;
    std::string type = "ipod";
    std::string name;
    std::string content;
    std::string storage;

    Json::Value toJson() const;
};
