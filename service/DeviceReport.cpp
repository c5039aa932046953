#include "service/DeviceReport.h"

#include "bus/JsonText.h"

Json::Value parseReport(char const* text) {
    Json::Value value;
    if (!parseJson(text == nullptr ? "{}" : text, value)) {
        value = Json::Value(Json::objectValue);
    }
    return value;
}

bool isIpod(Json::Value const& device) {
    return device["type"].asString() == "ipod";
}

std::unique_ptr<CMediaDevice> readDevice(Json::Value const& json) {
    auto device = std::make_unique<CMediaDevice>();
    device->Type(json["type"].asString());
    device->content(json["content"].asString());
    device->id(json["id"].asInt());
    device->mountPoint(json["mountPoint"].asString());
    device->name(json["name"].asString());
    device->storage(json["storage"].asString());
    return device;
}
