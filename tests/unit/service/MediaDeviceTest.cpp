#include "service/MediaDevice.h"

#include <gtest/gtest.h>

namespace {

TEST(CMediaDevice, StartsWithEmptyTexts) {
    CMediaDevice const device;
    EXPECT_EQ(device.content() + device.mountPoint() + device.name() + device.storage()
                  + device.Type(),
              "");
}

TEST(CMediaDevice, GivesBackWhatWasStored) {
    CMediaDevice device;
    device.Type("ipod");
    device.content("audio");
    device.id(7);
    device.mountPoint("/fs/ipod0");
    device.name("Anna's iPod");
    device.storage("flash");
    EXPECT_EQ(device.Type(), "ipod");
    EXPECT_EQ(device.content(), "audio");
    EXPECT_EQ(device.id(), 7);
    EXPECT_EQ(device.mountPoint(), "/fs/ipod0");
    EXPECT_EQ(device.name(), "Anna's iPod");
    EXPECT_EQ(device.storage(), "flash");
}

} // namespace
