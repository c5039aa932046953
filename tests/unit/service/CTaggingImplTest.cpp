// What of the service object stands by itself. The object as a whole is tested as a process on a
// real bus, in tests/integration.
#include "service/CTaggingImpl.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using Tagging = CTaggingImpl;

TEST(CTaggingImplStatus, HasTheNameAndTheNumberOfEachStatus) {
    struct {
        Tagging::EnuStatus status;
        int value;
        char const* name;
    } const statuses[] = {
        {Tagging::OK, 1, "OK"},
        {Tagging::ERROR, 2, "ERROR"},
        {Tagging::TARGET_FULL, 3, "TARGET_FULL"},
        {Tagging::LOCAL_STORAGE_FULL, 4, "LOCAL_STORAGE_FULL"},
        {Tagging::STORED_LOCAL, 5, "STORED_LOCAL"},
        {Tagging::STORED_ON_TARGET, 6, "STORED_ON_TARGET"},
        {Tagging::TRANSFER_SUCCEEDED, 7, "TRANSFER_SUCCEEDED"},
        {Tagging::TRANSFER_FAILED, 8, "TRANSFER_FAILED"},
        {Tagging::STOREDLOCAL_IPOD_INCOMPATIBLE, 9, "STOREDLOCAL_IPOD_INCOMPATIBLE"},
        {Tagging::LOCALFULL_IPOD_INCOMPATIBLE, 10, "LOCALFULL_IPOD_INCOMPATIBLE"},
    };
    for (auto const& expected : statuses) {
        Tagging::_Status const built(expected.status);
        EXPECT_EQ(built.Name, expected.name);
        EXPECT_EQ(built.Value, expected.value);
        Tagging::_Status assigned(Tagging::OK);
        assigned = expected.value;
        EXPECT_EQ(assigned.Name, expected.name);
        EXPECT_EQ(assigned.Value, expected.value);
    }
}

TEST(CTaggingImplStatus, OutsideTheTenIsAnEmptyNameAndZero) {
    for (int const number : {0, 11, -1}) {
        Tagging::_Status const built(static_cast<Tagging::EnuStatus>(number));
        EXPECT_EQ(built.Name, "");
        EXPECT_EQ(built.Value, 0);
        Tagging::_Status assigned(Tagging::OK);
        assigned = number;
        EXPECT_EQ(assigned.Name, "");
        EXPECT_EQ(assigned.Value, 0);
    }
}

Tagging::_tag fullTag() {
    Tagging::_tag tag;
    tag.Artist = "artist";
    tag.Name = "name";
    tag.Album = "album";
    tag.ButtonPressed = true;
    tag.Genre = "genre";
    tag.iTunesAffiliateID = "affiliate";
    tag.iTunesSongID = 42;
    tag.iTunesStationID = "station";
    tag.iTunesStorefrontID = 143411;
    tag.PodcastFeedURL = 3;
    tag.ProgramNumber = 2;
    tag.StationCallLetters = "ABCD-FM";
    tag.StationFrequency = "95.5";
    tag.StationURL = "url";
    tag.TimeStamp = "2010-03-01T17:05:09Z";
    tag.UnknownData = "AAEC";
    return tag;
}

void expectFull(CTag const& record) {
    EXPECT_EQ(record.Artist(), "artist");
    EXPECT_EQ(record.Name(), "name");
    EXPECT_EQ(record.Album(), "album");
    EXPECT_EQ(record.Genre(), "genre");
    EXPECT_EQ(record.iTunesAffiliateID(), "affiliate");
    EXPECT_EQ(record.iTunesSongID(), "42");
    EXPECT_EQ(record.iTunesStorefrontID(), 143411UL);
    EXPECT_EQ(record.PodcastFeedURL(), "3");
    EXPECT_EQ(record.ProgramNumber(), 2);
    EXPECT_EQ(record.StationCallLetters(), "ABCD-FM");
    EXPECT_EQ(record.StationFrequency(), "95.5");
    EXPECT_EQ(record.StationURL(), "url");
    EXPECT_EQ(record.TimeStamp(), "2010-03-01T17:05:09Z");
    EXPECT_EQ(record.UnknownData(), "AAEC");
    EXPECT_FALSE(record.NewTagFlag());
}

TEST(CTaggingImplTag, BecomesASingleRecord) {
    std::unique_ptr<CTag> const record(fullTag().createCTag());
    expectFull(*record);
}

TEST(CTaggingImplTag, BecomesACandidateWithItsButtonAsANumber) {
    std::unique_ptr<CAmbigTag> record(fullTag().createCAmbigTag());
    expectFull(*record);
    EXPECT_EQ(record->ButtonPressed(), 1);
    record.reset(Tagging::_tag().createCAmbigTag());
    EXPECT_EQ(record->ButtonPressed(), 0);
}

TEST(CTaggingImplTag, LeavesNumbersThatStandForNothingEmpty) {
    std::unique_ptr<CTag> record(Tagging::_tag().createCTag());
    EXPECT_EQ(record->iTunesSongID(), "");
    EXPECT_EQ(record->PodcastFeedURL(), "");
    Tagging::_tag zero;
    zero.iTunesSongID = 0;
    record.reset(zero.createCTag());
    EXPECT_EQ(record->iTunesSongID(), "0");
}

TEST(CTaggingImplTag, ANegativeStorefrontBecomesItsUnsignedValue) {
    Tagging::_tag tag;
    tag.iTunesStorefrontID = -1;
    std::unique_ptr<CTag> const record(tag.createCTag());
    EXPECT_EQ(record->iTunesStorefrontID(), 4294967295UL);
}

TEST(CTaggingImpl, MakesAnObjectPathOfABusName) {
    EXPECT_EQ(Tagging::makeObjPath("com.veldan.service.Media"), "/com/veldan/service/Media");
    EXPECT_EQ(Tagging::makeObjPath(""), "/");
}

} // namespace
