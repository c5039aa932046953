#include "platform/devctl.h"
#include "support/DriverLinkPage.h"
#include "support/RawDriver.h"
#include "support/TempDir.h"

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>

namespace {

constexpr int TO_DEVICE = static_cast<int>(0x80010E84U);
constexpr int FROM_DEVICE = 0x40040E01;
constexpr int BOTH_WAYS = static_cast<int>(0xC0040E02U);
constexpr int NEITHER = 0x00000E03;

RawDriver::Story answering(std::string const& bytes) {
    return [bytes](RawDriver::End& end) {
        end.takeRequest();
        end.give(bytes);
    };
}

TEST(Devctl, TheTagTextOfTheDriverLinkPageStandsByteForByte) {
    auto page = DriverLinkPage().example("The tag text");
    RawDriver driver(answering(page["reply"]));
    std::string text = "<plist/>";
    int info = -1;
    EXPECT_EQ(0, devctl(driver.fd(), TO_DEVICE, text.data(), text.size(), &info));
    EXPECT_EQ(7, info);
    EXPECT_EQ(page["request"], driver.taken());
}

TEST(Devctl, DataToTheDeviceOfAnyLengthGoInOnePiece) {
    std::string text = pattern(3000000);
    RawDriver driver(answering(wireReply(0)));
    EXPECT_EQ(0, devctl(driver.fd(), TO_DEVICE, text.data(), text.size(), nullptr));
    EXPECT_TRUE(text == driver.taken().substr(16));
}

TEST(Devctl, DataFromTheDeviceLandInTheBuffer) {
    RawDriver driver(answering(wireReply(0, 5, "abc")));
    std::string buffer = "........";
    int info = -1;
    EXPECT_EQ(0, devctl(driver.fd(), FROM_DEVICE, buffer.data(), 4, &info));
    EXPECT_EQ("abc.....", buffer);
    EXPECT_EQ(5, info);
    EXPECT_EQ(le(2) + le(0x40040E01) + le(0) + le(4), driver.taken());
}

TEST(Devctl, DataBothWaysUseOneBuffer) {
    RawDriver driver(answering(wireReply(0, 0, "ok")));
    std::string buffer = "ask";
    EXPECT_EQ(0, devctl(driver.fd(), BOTH_WAYS, buffer.data(), buffer.size(), nullptr));
    EXPECT_EQ("okk", buffer);
    EXPECT_EQ(le(2) + le(0xC0040E02) + le(3) + le(3) + "ask", driver.taken());
}

TEST(Devctl, ACommandWithoutADirectionCarriesNothing) {
    RawDriver driver(answering(wireReply(0)));
    std::string buffer = "unused";
    EXPECT_EQ(0, devctl(driver.fd(), NEITHER, buffer.data(), buffer.size(), nullptr));
    EXPECT_EQ(le(2) + le(0x0E03) + le(0) + le(0), driver.taken());
}

TEST(Devctl, AFailureIsTheResultAndStillStoresTheInfo) {
    for (int const error : {EIO, ENOSPC, ENODEV, 4000}) {
        RawDriver driver(answering(wireReply(error, 33)));
        std::string text = "x";
        int info = -1;
        EXPECT_EQ(error, devctl(driver.fd(), TO_DEVICE, text.data(), text.size(), &info));
        EXPECT_EQ(33, info);
    }
}

TEST(Devctl, ANegativeInfoIsKept) {
    RawDriver driver(answering(wireReply(0, -2)));
    int info = 0;
    EXPECT_EQ(0, devctl(driver.fd(), NEITHER, nullptr, 0, &info));
    EXPECT_EQ(-2, info);
}

TEST(Devctl, BrokenAnswersAreEIOAndStoreNoInfo) {
    std::string const whole = wireReply(0, 5);
    std::string const replies[] = {"", whole.substr(0, 11), wireReply(0, 5, "too much")};
    for (std::string const& reply : replies) {
        RawDriver driver(answering(reply));
        std::string text = "x";
        int info = 99;
        EXPECT_EQ(EIO, devctl(driver.fd(), TO_DEVICE, text.data(), text.size(), &info));
        EXPECT_EQ(99, info);
    }
}

TEST(Devctl, ANegativeStatusIsNoErrnoAndGivesEIO) {
    RawDriver driver(answering(wireReply(-5, 1)));
    EXPECT_EQ(EIO, devctl(driver.fd(), NEITHER, nullptr, 0, nullptr));
}

TEST(Devctl, ANodeThatIsNoSocketGivesENOSYSAndKeepsItsContent) {
    TempDir const folder;
    folder.write("control", "content");
    int const fd = open(folder.path("control").c_str(), O_RDWR);
    std::string text = "x";
    int info = 99;
    EXPECT_EQ(ENOSYS, devctl(fd, TO_DEVICE, text.data(), text.size(), &info));
    EXPECT_EQ(99, info);
    EXPECT_EQ("content", folder.read("control"));
    close(fd);
}

TEST(Devctl, WhatCannotBeSentIsRefused) {
    std::string text = "x";
    EXPECT_EQ(EBADF, devctl(-1, TO_DEVICE, text.data(), text.size(), nullptr));
    EXPECT_EQ(EFAULT, devctl(-1, TO_DEVICE, nullptr, 1, nullptr));
    EXPECT_EQ(EFAULT, devctl(-1, FROM_DEVICE, nullptr, 1, nullptr));
    EXPECT_EQ(EOVERFLOW, devctl(-1, TO_DEVICE, text.data(), std::size_t{INT_MAX} + 1, nullptr));
}

} // namespace
