#include "files/CParseTagId.h"

#include "FilesTest.h"
#include "support/FixedClock.h"
#include "support/TimeZone.h"
#include "tagdata/CTagIdMgr.h"

#include <map>
#include <stdexcept>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Devices = std::vector<unsigned int>;

unsigned char const* bytes(std::string const& text) {
    return reinterpret_cast<unsigned char const*>(text.c_str());
}

/** The devices of each entry of a TaggedInfo.xml, by key. */
class CParseTagIdTest : public FilesTest {
protected:
    CParseTagIdTest() { loadConfig(); }

    std::map<std::string, Devices> read(std::string const& entries) {
        writeData("TaggedInfo.xml", localFile(entries));
        std::map<std::string, Devices> devices;
        for (auto const& [key, block] : *tools.LoadTagIdMgr()) {
            devices[key] = block->deviceIds();
        }
        return devices;
    }

    /** The devices of one entry with this content. */
    Devices devicesIn(std::string const& content) {
        return read("<TagId Name=\"k\">" + content + "</TagId>\n")["k"];
    }
};

} // namespace

using CParseTagIdFile = CParseTagIdTest;

TEST_F(CParseTagIdFile, ReadsEntriesAndTheirDevices) {
    auto const devices = read("  <TagId Name=\"n\" Artist=\"a\" iTunesSongID=\"1\" Time=\"\">\n"
                              "    <DeviceId>7</DeviceId>\n"
                              "    <DeviceId>8</DeviceId>\n"
                              "  </TagId>\n"
                              "  <TagId Name=\"m\" Artist=\"\" iTunesSongID=\"2\" Time=\"\">\n"
                              "  </TagId>\n");
    EXPECT_THAT(devices, ElementsAre(testing::Pair("m2", IsEmpty()),
                                     testing::Pair("na1", ElementsAre(7U, 8U))));
}

TEST_F(CParseTagIdFile, FillsAllFieldsOfAnIdentity) {
    read("<TagId Time=\"2010/06/09/17\" iTunesSongID=\"1\" Artist=\"a\" Name=\"n\" Other=\"o\"/>");
    CTagIdInfo const& info = tools.LoadTagIdMgr()->begin()->second->tagIdInfo();
    EXPECT_EQ(info.Name, "n");
    EXPECT_EQ(info.Artist, "a");
    EXPECT_EQ(info.iTunesSongID, "1");
    EXPECT_EQ(info.Time, "2010/06/09/17");
}

TEST_F(CParseTagIdFile, AnEntryWithoutAttributesHasTheEmptyKey) {
    EXPECT_THAT(read("<TagId><DeviceId>3</DeviceId></TagId>"),
                ElementsAre(testing::Pair("", ElementsAre(3U))));
}

TEST_F(CParseTagIdFile, OtherElementsAndOtherCasesAreIgnored) {
    EXPECT_THAT(read("<Tag Name=\"x\"/><tagid Name=\"y\"/><TagID Name=\"z\"/>"), IsEmpty());
}

TEST_F(CParseTagIdFile, DevicesOfARepeatedEntryGoToTheEntryBeforeIt) {
    EXPECT_THAT(
        read("<TagId Name=\"a\"><DeviceId>1</DeviceId></TagId>"
             "<TagId Name=\"b\"><DeviceId>2</DeviceId></TagId>"
             "<TagId Name=\"a\"><DeviceId>3</DeviceId></TagId>"),
        ElementsAre(testing::Pair("a", ElementsAre(1U)), testing::Pair("b", ElementsAre(2U, 3U))));
}

TEST_F(CParseTagIdFile, ADeviceBeforeAnyEntryIsIgnored) {
    EXPECT_THAT(read("<DeviceId>1</DeviceId><TagId Name=\"a\"><DeviceId>2</DeviceId></TagId>"),
                ElementsAre(testing::Pair("a", ElementsAre(2U))));
}

TEST_F(CParseTagIdFile, BlanksAroundTheNumberDoNotMatter) {
    EXPECT_THAT(devicesIn("<DeviceId> 12 </DeviceId><DeviceId>\n\t13\n</DeviceId>"),
                ElementsAre(12U, 13U));
}

TEST_F(CParseTagIdFile, ATextThatIsNoNumberIsDeviceZero) {
    EXPECT_THAT(devicesIn("<DeviceId>none</DeviceId>"), ElementsAre(0U));
}

TEST_F(CParseTagIdFile, ANumberEndsAtTheFirstOtherCharacter) {
    EXPECT_THAT(devicesIn("<DeviceId>14x5</DeviceId>"), ElementsAre(14U));
}

TEST_F(CParseTagIdFile, AnEmptyDeviceIsNoDevice) {
    EXPECT_THAT(devicesIn("<DeviceId></DeviceId><DeviceId/>"), IsEmpty());
}

TEST_F(CParseTagIdFile, ACommentBeforeTheEndTagHidesTheDevice) {
    EXPECT_THAT(devicesIn("<DeviceId>15<!-- --></DeviceId><DeviceId>16</DeviceId>"),
                ElementsAre(16U));
}

TEST_F(CParseTagIdFile, ATextInTwoPiecesIsNoWholeDevice) {
    // The entity and the section come as pieces of their own, which no end tag follows.
    EXPECT_THAT(devicesIn("<DeviceId>17&#56;</DeviceId><DeviceId><![CDATA[18]]></DeviceId>"),
                IsEmpty());
}

TEST_F(CParseTagIdFile, AnEndTagThatIsSpacedOutHidesTheDevice) {
    EXPECT_THAT(devicesIn("<DeviceId>19</DeviceId ><DeviceId>20</DeviceId>"), ElementsAre(20U));
}

TEST_F(CParseTagIdFile, TheEndTagAloneMakesADeviceWhereverItStands) {
    EXPECT_THAT(read("<TagId Name=\"a\"/><x><DeviceId>21</DeviceId></x>"),
                ElementsAre(testing::Pair("a", ElementsAre(21U))));
}

TEST_F(CParseTagIdFile, TheSameDeviceTwiceIsKeptOnce) {
    EXPECT_THAT(devicesIn("<DeviceId>5</DeviceId><DeviceId>5</DeviceId>"), ElementsAre(5U));
}

TEST_F(CParseTagIdFile, EveryDeviceIdOf32BitsComesBack) {
    EXPECT_THAT(devicesIn("<DeviceId>4294967295</DeviceId><DeviceId>2147483648</DeviceId>"
                          "<DeviceId>2147483647</DeviceId><DeviceId>-2</DeviceId>"),
                ElementsAre(4294967295U, 2147483648U, 2147483647U, 4294967294U));
}

TEST_F(CParseTagIdTest, AMissingRegistryIsLoggedForEveryElementAndIgnored) {
    for (char const* const element : {"TagId", "DeviceId", "MarkedTracks"}) {
        log.clear();
        CParseTagId::startElementNs(nullptr, bytes(element), nullptr, nullptr, 0, nullptr, 0, 0,
                                    nullptr);
        EXPECT_THAT(log.lines(), ElementsAre("Error: CParseTagId_startElementNs: ctx is null"))
            << element;
    }
}

TEST_F(CParseTagIdTest, CharactersWithoutRegistryOrTextAreIgnored) {
    CTagIdManager manager;
    manager.addTagBlockByTagId({});
    CParseTagId::onCharacters(nullptr, bytes("1</DeviceId>"), 1);
    CParseTagId::onCharacters(&manager, nullptr, 1);
    EXPECT_THAT(manager.begin()->second->deviceIds(), IsEmpty());
}

TEST_F(CParseTagIdTest, CharactersAreADeviceIfExactlyTheEndTagFollows) {
    CTagIdManager manager;
    manager.addTagBlockByTagId({});
    for (std::string const text :
         {"1</DeviceId", "1</DeviceIds>", "1</deviceid>", "1 </DeviceId>", "1"}) {
        CParseTagId::onCharacters(&manager, bytes(text), 1);
    }
    EXPECT_THAT(manager.begin()->second->deviceIds(), IsEmpty());
    CParseTagId::onCharacters(&manager, bytes("2</DeviceId>and more"), 1);
    EXPECT_THAT(manager.begin()->second->deviceIds(), ElementsAre(2U));
}

TEST_F(CParseTagIdTest, NothingIsReadBehindAZeroByte) {
    CTagIdManager manager;
    manager.addTagBlockByTagId({});
    // On the heap and full to the last byte, so that a step too far is seen.
    std::vector<unsigned char> const short1 = {'1', '<', '/', '\0'};
    std::vector<unsigned char> const short2 = {'1', '\0'};
    CParseTagId::onCharacters(&manager, short1.data(), 1);
    CParseTagId::onCharacters(&manager, short2.data(), 40);
    EXPECT_THAT(manager.begin()->second->deviceIds(), IsEmpty());
}

TEST_F(CParseTagIdTest, TheEndOfAnElementDoesNothing) {
    CTagIdManager manager;
    CParseTagId::endElementNs(&manager, bytes("TagId"), nullptr, nullptr);
    EXPECT_EQ(manager.size(), 0U);
    EXPECT_THAT(log.lines(), IsEmpty());
}

// Time.

TEST(CParseTagId, TheCurrentTimeIsLocalAndHasNoMinutes) {
    constexpr std::time_t MOMENT = 1276104031; // 17:20:31 UTC
    FixedClock const clock(MOMENT);
    {
        TimeZone const zone("UTC0");
        EXPECT_EQ(CParseTagId::getCurrentTime(), "2010/06/09/17");
    }
    {
        TimeZone const zone("EAST-9");
        EXPECT_EQ(CParseTagId::getCurrentTime(), "2010/06/10/02");
    }
}

TEST(CParseTagId, ConvertsTimeByPositionWhateverTheSeparators) {
    TimeInfo_t time{};
    for (char const* const text : {"2010/06/09/17", "2010-06-09T17:20:31Z", "2010x06y09z17"}) {
        CParseTagId::convertTimeValue(text, time);
        EXPECT_EQ(time.year, 2010U) << text;
        EXPECT_EQ(time.month, 6U) << text;
        EXPECT_EQ(time.day, 9U) << text;
        EXPECT_EQ(time.hour, 17U) << text;
    }
}

TEST(CParseTagId, ATimeThatIsTooShortIsOutOfRange) {
    TimeInfo_t time{};
    for (char const* const text : {"2", "2010", "2010/06", "2010/06/09"}) {
        EXPECT_THROW(CParseTagId::convertTimeValue(text, time), std::out_of_range) << text;
        EXPECT_THROW(CParseTagId::isCanNeglectOldTagId(text), std::out_of_range) << text;
    }
    EXPECT_NO_THROW(CParseTagId::convertTimeValue("2010/06/09/", time));
    EXPECT_EQ(time.hour, 0U);
}

TEST(CParseTagId, ConvertsTheNumberAtTheStartOfAText) {
    EXPECT_EQ(CParseTagId::convertStr2UInt("08"), 8U);
    EXPECT_EQ(CParseTagId::convertStr2UInt(" 12 "), 12U);
    EXPECT_EQ(CParseTagId::convertStr2UInt("+7x"), 7U);
    EXPECT_EQ(CParseTagId::convertStr2UInt("-1"), 0xFFFFFFFFU);
    EXPECT_EQ(CParseTagId::convertStr2UInt(""), 0U);
    EXPECT_EQ(CParseTagId::convertStr2UInt("x7"), 0U);
}

// Age, on a calendar of 30-day months and 360-day years.

namespace {

struct AgeCase {
    char const* time;
    bool tooOld;
};

void expectAges(std::initializer_list<AgeCase> cases) {
    for (AgeCase const& ageCase : cases) {
        EXPECT_EQ(CParseTagId::isCanNeglectOldTagId(ageCase.time), ageCase.tooOld) << ageCase.time;
    }
}

} // namespace

TEST(CParseTagId, AnEntryIsTooOldFromTheThirtiethDayOn) {
    FixedClock const clock(2010, 6, 30, 12);
    expectAges({{"2010/06/30/12", false},
                {"2010/06/01/12", false}, // 29 days
                {"2010/05/31/12", false}, // the same day on this calendar
                {"2010/05/30/12", true},  // 30 days
                {"2010/05/30/23", true},
                {"2009/12/30/12", true},
                {"1970/01/01/00", true}});
}

TEST(CParseTagId, TheHourDoesNotCount) {
    FixedClock const clock(2010, 6, 15, 12);
    expectAges({{"2010/05/16/00", false}, {"2010/05/16/23", false}, {"2010/06/15/23", false}});
}

TEST(CParseTagId, AgeCrossesTheYear) {
    FixedClock const clock(2011, 1, 5, 0);
    expectAges({{"2010/12/06/00", false}, {"2010/12/05/00", true}});
}

TEST(CParseTagId, TheThirtyFirstAndTheFirstAreTheSameDay) {
    FixedClock const clock(2010, 6, 1, 0);
    expectAges({{"2010/05/31/23", false}, {"2010/05/02/00", false}, {"2010/05/01/00", true}});
}

TEST(CParseTagId, AgesGoOnAfterTheLastSecondOf32Bits) {
    FixedClock const clock(2040, 3, 1, 12);
    EXPECT_EQ(CParseTagId::getCurrentTime(), "2040/03/01/12");
    expectAges({{"2040/02/02/12", false}, // 29 days
                {"2040/02/01/12", true},
                {"2038/01/19/03", true},
                {"2040/03/02/12", true}});
}

TEST(CParseTagId, AnEntryOfTheFutureIsTooOld) {
    FixedClock const clock(2010, 6, 15, 12);
    expectAges({{"2010/06/16/12", true}, {"2010/07/01/00", true}, {"2037/01/01/00", true}});
}

TEST(CParseTagId, AnEntryWithoutATimeIsNeverTooOld) {
    expectAges({{"", false}});
}

TEST(OldTagIds, AreJudgedAsOfTheMomentOfTheFirstDatedOne) {
    OldTagIds old;
    EXPECT_FALSE(old.include(""));
    {
        FixedClock const first(2010, 6, 15, 12);
        EXPECT_FALSE(old.include("2010/06/15/12"));
    }
    FixedClock const later(2010, 8, 15, 12);
    EXPECT_FALSE(old.include("2010/06/15/12"));
    EXPECT_TRUE(old.include("2010/05/15/12"));
    EXPECT_TRUE(OldTagIds().include("2010/06/15/12"));
    EXPECT_THROW(old.include("2010/06"), std::out_of_range);
}
