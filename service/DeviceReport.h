#pragma once

#include "service/MediaDevice.h"

#include <json/value.h>

#include <memory>

/** What the media service has sent; an empty object where that is missing or does not parse. */
Json::Value parseReport(char const* text);

/** Whether a device of the media service is an iPod. @throws Json::Exception */
bool isIpod(Json::Value const& device);

/** The record of a device of the media service. @throws Json::Exception */
std::unique_ptr<CMediaDevice> readDevice(Json::Value const& json);
