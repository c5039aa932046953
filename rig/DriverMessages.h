#pragma once

#include "platform/ControlNodePeer.h"
#include "rig/Capabilities.h"

#include <json/json.h>

/** What an iPod driver is asked for; docs/driver-link.md has the bytes. */
enum class DriverRequest { GetCapabilities, SendTags, Unknown };

/** Which request these bytes are. */
DriverRequest recognize(ControlNodeRequest const& request);

/** The name of a request in reports. */
char const* nameOf(DriverRequest request);

/** The answer to a capability request: the count, then the ids. */
std::vector<std::uint8_t> encode(Capabilities const& capabilities);

/** The answer to what the driver does not know, as QNX drivers give it. */
ControlNodeReply refusalOf(ControlNodeRequest const& request);

/** What a report says of a request that the driver does not know. */
Json::Value describeUnknown(ControlNodeRequest const& request);
