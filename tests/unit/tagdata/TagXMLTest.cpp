#include "support/Thrown.h"
#include "tagdata/CAmbigTag.h"
#include "tagdata/TagFields.h"

#include <gmock/gmock.h>

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

/** Every field set, with characters that need encoding in those that are encoded. */
void fillRecord(CTag& tag) {
    tag.Name("A & B");
    tag.Artist("<Artist>");
    tag.Album("\"Album\"");
    tag.iTunesSongID("418273956");
    tag.iTunesStorefrontID(143411);
    tag.StationFrequency("95.5&");
    tag.StationCallLetters("QLTN-FM<");
    tag.PodcastFeedURL("0>");
    tag.StationURL("http://qln.example/?a=1&b=2");
    tag.Genre("Rock 'n' Roll");
    tag.TimeStamp("2010-03-01T17:05:09Z<");
    tag.ProgramNumber(2);
    tag.iTunesAffiliateID("AFF&1");
    tag.UnknownData("TWE=<");
}

constexpr char FILE_FIELDS[] =
    R"(Name="A &amp; B" Artist="&lt;Artist&gt;" Album="&quot;Album"" iTunesSongID="418273956" )"
    R"(iTunesStorefrontID="143411" StationFrequency="95.5&amp;" StationCallLetters="QLTN-FM&lt;" )"
    R"(PodcastFeedURL="0&gt;" StationURL="http://qln.example/?a=1&amp;b=2" )"
    R"(Genre="Rock &apos;n' Roll" TimeStamp="2010-03-01T17:05:09Z&lt;" ProgramNumber="2" )"
    R"(iTunesAffiliateID="AFF&amp;1" UnknownData="TWE=&lt;"/>)"
    "\n";

constexpr char EMPTY_FILE_FIELDS[] =
    R"(Name="" Artist="" Album="" iTunesSongID="" iTunesStorefrontID="0" StationFrequency="" )"
    R"(StationCallLetters="" PodcastFeedURL="" StationURL="" Genre="" TimeStamp="" )"
    R"(ProgramNumber="0" iTunesAffiliateID="" UnknownData=""/>)"
    "\n";

constexpr char LIST_FIELDS[] =
    "<key>Name</key>\r\n<string>A &amp; B</string>\r\n"
    "<key>Artist</key>\r\n<string>&lt;Artist&gt;</string>\r\n"
    "<key>Album</key>\r\n<string>&quot;Album\"</string>\r\n"
    "<key>iTunesSongID</key>\r\n<integer>418273956</integer>\r\n"
    "<key>iTunesStorefrontID</key>\r\n<integer>143411</integer>\r\n"
    "<key>StationFrequency</key>\r\n<string>95.5&amp;</string>\r\n"
    "<key>StationCallLetters</key>\r\n<string>QLTN-FM&lt;</string>\r\n"
    "<key>PodcastFeedURL</key>\r\n<integer>0&gt;</integer>\r\n"
    "<key>StationURL</key>\r\n<string>http://qln.example/?a=1&amp;b=2</string>\r\n"
    "<key>Genre</key>\r\n<string>Rock &apos;n' Roll</string>\r\n"
    "<key>TimeStamp</key>\r\n<date>2010-03-01T17:05:09Z&lt;</date>\r\n"
    "<key>ProgramNumber</key>\r\n<integer>2</integer>\r\n"
    "<key>iTunesAffiliateID</key>\r\n<string>AFF&amp;1</string>\r\n"
    "<key>UnknownData</key>\r\n<data>TWE=&lt;</data>\r\n"
    "</dict>\r\n";

std::string listHead(char const* ambiguous, char const* button) {
    return std::string("<dict>\r\n<key>AmbiguousTag</key>\r\n<integer>") + ambiguous
           + "</integer>\r\n<key>ButtonPressed</key>\r\n<integer>" + button + "</integer>\r\n";
}

} // namespace

TEST(TagXML, ARecordLineHoldsEveryAttributeInOrder) {
    CTag tag;
    fillRecord(tag);

    EXPECT_EQ(tag.toXML(), std::string("<Tag ") + FILE_FIELDS);
}

TEST(TagXML, ACandidatesLineOpensWithItsButton) {
    CAmbigTag tag;
    fillRecord(tag);
    tag.ButtonPressed(-1);

    EXPECT_EQ(tag.toXML(), std::string("<AmbigTag ButtonPressed=\"-1\" ") + FILE_FIELDS);
}

TEST(TagXML, ARecordLineHoldsEmptyTextsAndZerosToo) {
    EXPECT_EQ(CTag().toXML(), std::string("<Tag ") + EMPTY_FILE_FIELDS);
    EXPECT_EQ(CAmbigTag(false).toXML(),
              std::string("<AmbigTag ButtonPressed=\"0\" ") + EMPTY_FILE_FIELDS);
}

TEST(TagXML, ADictionaryHoldsEveryKeyInOrder) {
    CTag tag;
    fillRecord(tag);

    EXPECT_EQ(tag.toAppleXML(), listHead("0", "1") + LIST_FIELDS);
}

TEST(TagXML, ACandidatesDictionarySaysItsOwnButtonEvenIf0) {
    CAmbigTag tag;
    fillRecord(tag);
    tag.ButtonPressed(0);

    EXPECT_EQ(tag.toAppleXML(), listHead("1", "0") + LIST_FIELDS);
}

TEST(TagXML, ADictionaryOfAnEmptyTagHasTwoKeysOnly) {
    EXPECT_EQ(CTag().toAppleXML(), listHead("0", "1") + "</dict>\r\n");
}

TEST(TagXML, ASingleTagMadeFromACandidateStillSaysButton1) {
    CAmbigTag candidate;
    candidate.ButtonPressed(0);

    EXPECT_THAT(CTag(&candidate, false).toAppleXML(), StartsWith(listHead("0", "1")));
}

TEST(TagXML, ADictionaryLeavesZeroAndNegativeNumbersOutThatTheFileWrites) {
    CTag tag;
    tag.ProgramNumber(-3);

    EXPECT_THAT(tag.toAppleXML(), Not(HasSubstr("ProgramNumber")));
    EXPECT_THAT(tag.toAppleXML(), Not(HasSubstr("iTunesStorefrontID")));
    EXPECT_THAT(tag.toXML(), HasSubstr("ProgramNumber=\"-3\""));
    EXPECT_THAT(tag.toXML(), HasSubstr("iTunesStorefrontID=\"0\""));
}

TEST(TagXML, TheSongIdIsWrittenRaw) {
    CTag tag;
    tag.iTunesSongID("1&\"<");

    EXPECT_THAT(tag.toXML(), HasSubstr("iTunesSongID=\"1&\"<\""));
    EXPECT_THAT(tag.toAppleXML(), HasSubstr("<integer>1&\"<</integer>"));
}

TEST(TagXML, ThePodcastFeedIsAnIntegerElement) {
    CTag tag;
    tag.PodcastFeedURL("http://feed.example");

    EXPECT_THAT(tag.toAppleXML(), HasSubstr("<key>PodcastFeedURL</key>\r\n"
                                            "<integer>http://feed.example</integer>\r\n"));
}

TEST(TagFields, AreFoundByTheirExactName) {
    ASSERT_NE(findTagField("StationURL"), nullptr);
    EXPECT_STREQ(findTagField("StationURL")->name, "StationURL");
    EXPECT_EQ(findTagField("stationurl"), nullptr);
    EXPECT_EQ(findTagField("ButtonPressed"), nullptr);
    EXPECT_EQ(findTagField(""), nullptr);
}

TEST(TagFields, AreFoundOneAfterTheOtherInAnyOrder) {
    std::vector<char const*> names = {"ButtonPressed", "", "name"};
    for (TagField const& field : tagFields()) {
        names.push_back(field.name);
    }
    TagFieldFinder fields;
    for (char const* const before : names) {
        for (char const* const name : names) {
            fields.find(before);
            EXPECT_EQ(fields.find(name), findTagField(name)) << before << ' ' << name;
        }
    }
}

TEST(TagFields, ANumberFieldRefusesTextThatIsNoNumber) {
    CTag tag;
    for (char const* const name : {"ProgramNumber", "iTunesStorefrontID"}) {
        auto const thrown = thrownBy([&] { findTagField(name)->assign(tag, "none"); });
        ASSERT_TRUE(thrown) << name;
        EXPECT_EQ(thrown->ExCode(), CTagException::ExConversion);
    }
}
