#include "rig/PropertyList.h"

#include <gtest/gtest.h>

namespace {

std::string faultOf(std::string const& text) {
    std::string fault;
    bool const accepted = isPropertyList(text, fault);
    EXPECT_EQ(accepted, fault.empty()) << fault;
    return fault;
}

TEST(PropertyList, IsAPlistWithADict) {
    EXPECT_EQ("", faultOf("<plist version=\"1.0\"><dict/></plist>"));
    EXPECT_EQ("",
              faultOf("<?xml version=\"1.0\"?>\n<plist>\n <dict><key>a</key></dict>\n</plist>"));
    EXPECT_EQ("", faultOf("<!DOCTYPE plist SYSTEM \"http://nowhere.invalid/a.dtd\">"
                          "<plist><dict/></plist>"))
        << "the DTD is not fetched";
}

TEST(PropertyList, OtherShapesAreNamed) {
    EXPECT_EQ("the root is not a plist", faultOf("<other><dict/></other>"));
    EXPECT_EQ("the plist holds no dict", faultOf("<plist/>"));
    EXPECT_EQ("the plist holds no dict", faultOf("<plist><array/><dict/></plist>"));
}

TEST(PropertyList, WhatIsNoDocumentIsToldWithItsLine) {
    EXPECT_EQ(0U, faultOf("<plist>\n<dict></plist>").find("line 2: "));
    EXPECT_EQ(std::string::npos, faultOf("<plist>\n<dict></plist>").find('\n'));
    EXPECT_NE("", faultOf("text"));
    EXPECT_NE("", faultOf(""));
}

} // namespace
