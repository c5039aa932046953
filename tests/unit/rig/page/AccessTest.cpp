#include "rig/page/Access.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

TEST(PageAddress, IsAPortOnThisMachineUnlessAnAddressIsGiven) {
    auto const port = PageAddress::from("8095");
    EXPECT_EQ("127.0.0.1", port.host);
    EXPECT_EQ(8095, port.port);
    EXPECT_TRUE(port.isLoopback());
    EXPECT_EQ("http://127.0.0.1:8095/", port.url());
    auto const wide = PageAddress::from("0.0.0.0:80");
    EXPECT_FALSE(wide.isLoopback());
    EXPECT_EQ("http://127.0.0.1:80/", wide.url()) << "what a browser here can open";
    auto const six = PageAddress::from("[::1]:8095");
    EXPECT_TRUE(six.isLoopback());
    EXPECT_EQ("http://[::1]:8095/", six.url());
}

TEST(PageAddress, AnythingElseIsRefused) {
    for (char const* const text : {"", "x", "65536", "-1", "127.0.0.1:", ":80", "localhost:80",
                                   "127.0.0.1:80x", "1.2.3:80 "}) {
        EXPECT_THROW(PageAddress::from(text), std::invalid_argument) << text;
    }
}

TEST(Access, OnlyThePagesOwnAddressIsItsHost) {
    Access const access(PageAddress::from("8095"));
    EXPECT_TRUE(access.allowsHost("127.0.0.1:8095"));
    EXPECT_TRUE(access.allowsHost("localhost:8095"));
    for (char const* const host : {"", "127.0.0.1", "127.0.0.1:80", "evil.example:8095",
                                   "127.0.0.1.evil.example:8095", "127.0.0.2:8095", ":8095"}) {
        EXPECT_FALSE(access.allowsHost(host)) << host;
    }
}

TEST(Access, ABrowserLeavesOutTheUsualPort) {
    Access const access(PageAddress::from("80"));
    EXPECT_TRUE(access.allowsHost("127.0.0.1"));
    EXPECT_FALSE(access.allowsHost("evil.example"));
}

TEST(Access, AnOpenPageTakesAddressesAndNoNames) {
    Access const access(PageAddress::from("0.0.0.0:8095"));
    EXPECT_TRUE(access.allowsHost("192.0.2.7:8095"));
    EXPECT_TRUE(access.allowsHost("[2001:db8::1]:8095"));
    EXPECT_FALSE(access.allowsHost("evil.example:8095")) << "a name can be made to lead here";
}

TEST(Access, OnlyThePageItselfIsItsOrigin) {
    Access const access(PageAddress::from("8095"));
    EXPECT_TRUE(access.allowsOrigin("")) << "no browser";
    EXPECT_TRUE(access.allowsOrigin("http://127.0.0.1:8095"));
    for (char const* const origin : {"null", "http://evil.example", "https://127.0.0.1:8095",
                                     "http://127.0.0.1:8096", "127.0.0.1:8095"}) {
        EXPECT_FALSE(access.allowsOrigin(origin)) << origin;
    }
}

} // namespace
