#include "rig/DriverMessages.h"

#include "NodeClient.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace {

ControlNodeRequest message(std::string const& data) {
    return {ControlNodeKind::Message, 0, 0, {data.begin(), data.end()}};
}

ControlNodeRequest devctl(std::uint32_t dcmd) {
    return {ControlNodeKind::Devctl, dcmd, 0, {}};
}

std::string with(std::size_t at, char byte) {
    std::string request = CAPABILITY_REQUEST;
    request[at] = byte;
    return request;
}

TEST(DriverMessages, TheTwoRequestsAreRecognized) {
    EXPECT_EQ(DriverRequest::GetCapabilities, recognize(message(CAPABILITY_REQUEST)));
    EXPECT_EQ(DriverRequest::SendTags, recognize(devctl(SEND_TAGS_COMMAND)));
}

TEST(DriverMessages, WhatDiffersInOneThingIsUnknown) {
    auto const tagsAsMessage =
        ControlNodeRequest{ControlNodeKind::Message, SEND_TAGS_COMMAND, 0, {}};
    auto const capabilitiesAsDevctl = ControlNodeRequest{
        ControlNodeKind::Devctl, 0, 0, {CAPABILITY_REQUEST.begin(), CAPABILITY_REQUEST.end()}};
    for (auto const& request :
         {devctl(0), devctl(SEND_TAGS_COMMAND + 1), tagsAsMessage, capabilitiesAsDevctl,
          message(with(4, 0x12)), message(with(5, 1)), message(with(6, 0x33)), message(with(7, 1)),
          message(CAPABILITY_REQUEST + "x"), message(CAPABILITY_REQUEST.substr(1))}) {
        EXPECT_EQ(DriverRequest::Unknown, recognize(request));
    }
}

TEST(DriverMessages, CapabilitiesAreTheirCountAndTheIds) {
    auto const bytes = encode(Capabilities{8, 0x0201});
    EXPECT_EQ(hex("02 00 00 00  08 00  01 02"), std::string(bytes.begin(), bytes.end()));
    EXPECT_EQ(4U, encode(Capabilities{}).size());
}

TEST(DriverMessages, ARefusalIsWhatTheKindOfRequestCanTell) {
    EXPECT_EQ(-ENOSYS, refusalOf(message("x")).status);
    EXPECT_EQ(ENOTTY, refusalOf(devctl(5)).status);
}

TEST(DriverMessages, AnUnknownRequestIsDescribed) {
    auto const known = describeUnknown(message(with(6, 0x34)));
    EXPECT_EQ(ENOSYS, known["errno"].asInt());
    EXPECT_EQ(24, known["bytes"].asInt());
    EXPECT_EQ(0x34, known["code"].asInt());
    EXPECT_FALSE(known.isMember("dcmd"));
    auto const shorter = describeUnknown(message("x"));
    EXPECT_EQ(1, shorter["bytes"].asInt());
    EXPECT_FALSE(shorter.isMember("code"));
    auto const command = describeUnknown(devctl(77));
    EXPECT_EQ(ENOTTY, command["errno"].asInt());
    EXPECT_EQ(77, command["dcmd"].asInt());
}

} // namespace
