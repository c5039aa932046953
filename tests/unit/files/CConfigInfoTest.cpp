#include "files/CConfigInfo.h"

#include "files/CParserConfig.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

class CountedParser : public CParserConfig {
public:
    explicit CountedParser(int& deaths) : mDeaths(deaths) {}
    ~CountedParser() override { ++mDeaths; }

private:
    int& mDeaths;
};

} // namespace

TEST(CConfigInfo, StartsWithTheFixedIdentityAndNoOptions) {
    CConfigInfo const config(false);
    EXPECT_EQ(config.MajorVersion(), 1);
    EXPECT_EQ(config.MinorVersion(), 1);
    EXPECT_EQ(config.ManufacturerID(), 0x3B9C77B9);
    EXPECT_EQ(config.ManufacturerName(), "VELDAN");
    EXPECT_EQ(config.DeviceName(), "iPod-Car");
    EXPECT_EQ(config.debugVerbosity(), "");
    EXPECT_FALSE(config.multiples_enable());
    EXPECT_EQ(config.multiples_choose(), "");
    EXPECT_EQ(config.maxTagCount(), 0);
    EXPECT_EQ(config.localStorage(), "");
    ASSERT_NE(config.Parser(), nullptr);
    EXPECT_EQ(config.Parser()->TagFile(), "");
}

TEST(CConfigInfo, EachPairStoresItsOwnValue) {
    CConfigInfo config(true);
    config.MajorVersion(2);
    config.MinorVersion(3);
    config.ManufacturerID(-4);
    config.ManufacturerName("maker");
    config.DeviceName("device");
    config.debugVerbosity("loud");
    config.multiples_enable(true);
    config.multiples_choose("specify");
    config.maxTagCount(-5);
    config.localStorage("no slash is added here");
    EXPECT_EQ(config.MajorVersion(), 2);
    EXPECT_EQ(config.MinorVersion(), 3);
    EXPECT_EQ(config.ManufacturerID(), -4);
    EXPECT_EQ(config.ManufacturerName(), "maker");
    EXPECT_EQ(config.DeviceName(), "device");
    EXPECT_EQ(config.debugVerbosity(), "loud");
    EXPECT_TRUE(config.multiples_enable());
    EXPECT_EQ(config.multiples_choose(), "specify");
    EXPECT_EQ(config.maxTagCount(), -5);
    EXPECT_EQ(config.localStorage(), "no slash is added here");
}

TEST(CConfigInfo, DeletesTheParserRecordThatItHolds) {
    int deaths = 0;
    {
        CConfigInfo config(false);
        std::unique_ptr<CParserConfig> const first(config.Parser());
        config.Parser(std::make_unique<CountedParser>(deaths).release());
        EXPECT_EQ(deaths, 0);
    }
    EXPECT_EQ(deaths, 1);
}

TEST(CConfigInfo, AReplacedParserRecordStaysWithTheCaller) {
    int deaths = 0;
    CConfigInfo config(false);
    std::unique_ptr<CParserConfig> const first(config.Parser());
    auto second = std::make_unique<CountedParser>(deaths);
    config.Parser(second.get());
    config.Parser(nullptr);
    EXPECT_EQ(deaths, 0);
    EXPECT_EQ(config.Parser(), nullptr);
}

TEST(CConfigInfo, HeadKeysStandInOrderWithTheirValues) {
    EXPECT_EQ(CConfigInfo(false).toAppleXML(),
              "<key>MajorVersion</key>\r\n<integer>1</integer>\r\n"
              "<key>MinorVersion</key>\r\n<integer>1</integer>\r\n"
              "<key>ManufacturerID</key>\r\n<integer>1000110009</integer>\r\n"
              "<key>ManufacturerName</key>\r\n<string>VELDAN</string>\r\n"
              "<key>DeviceName</key>\r\n<string>iPod-Car</string>\r\n");
}

TEST(CConfigInfo, HeadKeysAreNotEncoded) {
    CConfigInfo config(false);
    config.DeviceName("a & b");
    EXPECT_NE(config.toAppleXML().find("<string>a & b</string>"), std::string::npos);
}
