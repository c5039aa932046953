#include "tools/Devices.h"

#include "tools/Replies.h"

#include <json/reader.h>

std::map<int, std::string> deviceNames(std::string const& answer) {
    std::map<int, std::string> names;
    Json::Value parsed;
    if (!Json::Reader().parse(answer, parsed) || !parsed.isObject()
        || !parsed["devices"].isArray()) {
        return names;
    }
    for (Json::Value const& entry : parsed["devices"]) {
        Json::Value const device = entry.isObject() ? entry["device"] : Json::Value();
        if (device.isObject() && device["id"].isInt()) {
            names[device["id"].asInt()] = textAt(device, "name");
        }
    }
    return names;
}

std::vector<int> deviceIds(Json::Value const& connectionStatus) {
    std::vector<int> ids;
    Json::Value const devices =
        connectionStatus.isObject() ? connectionStatus["Devices"] : Json::Value();
    for (Json::Value const& id : devices) {
        if (id.isInt()) {
            ids.push_back(id.asInt());
        }
    }
    return ids;
}

std::string devicesText(std::vector<int> const& ids, std::map<int, std::string> const& names) {
    std::string text;
    for (int const id : ids) {
        auto const name = names.find(id);
        bool const hasName = name != names.end() && !name->second.empty();
        text += (text.empty() ? "" : ", ") + std::to_string(id)
                + (hasName ? " (" + name->second + ")" : std::string());
    }
    return text.empty() ? "none" : text;
}
