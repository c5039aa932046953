#include "tagdata/CTag.h"

#include "tagdata/CAmbigTag.h"
#include "tagdata/TagFields.h"

#include <gmock/gmock.h>

#include <array>
#include <limits>
#include <memory>
#include <random>
#include <type_traits>
#include <utility>

using testing::ElementsAre;

namespace {

void fillFields(CTag& tag) {
    int number = 1000;
    for (TagField const& field : tagFields()) {
        field.assign(tag, std::to_string(++number));
    }
}

std::vector<std::string> valuesOf(CTag const& tag) {
    std::vector<std::string> values;
    for (TagField const& field : tagFields()) {
        values.push_back(field.text(tag));
    }
    return values;
}

} // namespace

static_assert(std::has_virtual_destructor_v<CTag>);
static_assert(std::is_base_of_v<CTag, CAmbigTag>);

TEST(CTag, AFreshTagIsBlank) {
    CTag const tag;

    EXPECT_THAT(valuesOf(tag),
                ElementsAre("", "", "", "", "0", "", "", "", "", "", "", "0", "", ""));
    EXPECT_FALSE(tag.NewTagFlag());
}

TEST(CTag, EachSetterStoresAsItStandsAndNothingElse) {
    CTag tag;
    tag.Name(" <Name> & \n");
    tag.Artist("Artist");
    tag.Album("Album");
    tag.iTunesSongID("not a number");
    tag.iTunesStorefrontID(143411);
    tag.StationFrequency("95.5");
    tag.StationCallLetters("QLTN-FM");
    tag.PodcastFeedURL("0");
    tag.StationURL("http://qln.example");
    tag.Genre(" ");
    tag.ProgramNumber(-2);
    tag.iTunesAffiliateID("AFF");
    tag.UnknownData("TWFu");
    tag.TimeStamp("yesterday");
    tag.NewTagFlag(true);

    EXPECT_EQ(tag.Name(), " <Name> & \n");
    EXPECT_EQ(tag.Artist(), "Artist");
    EXPECT_EQ(tag.Album(), "Album");
    EXPECT_EQ(tag.iTunesSongID(), "not a number");
    EXPECT_EQ(tag.iTunesStorefrontID(), 143411UL);
    EXPECT_EQ(tag.StationFrequency(), "95.5");
    EXPECT_EQ(tag.StationCallLetters(), "QLTN-FM");
    EXPECT_EQ(tag.PodcastFeedURL(), "0");
    EXPECT_EQ(tag.StationURL(), "http://qln.example");
    EXPECT_EQ(tag.Genre(), " ");
    EXPECT_EQ(tag.ProgramNumber(), -2);
    EXPECT_EQ(tag.iTunesAffiliateID(), "AFF");
    EXPECT_EQ(tag.UnknownData(), "TWFu");
    EXPECT_EQ(tag.TimeStamp(), "yesterday");
    EXPECT_TRUE(tag.NewTagFlag());
}

TEST(CTag, TheStorefrontKeeps32Bits) {
    CTag tag;
    tag.iTunesStorefrontID(static_cast<unsigned long>(-1));
    EXPECT_EQ(tag.iTunesStorefrontID(), std::numeric_limits<std::uint32_t>::max());

    tag.iTunesStorefrontID(static_cast<unsigned long>(0x1'0000'0005ULL));
    EXPECT_EQ(tag.iTunesStorefrontID(), 5UL);
}

TEST(CTag, InitTagBlanksAUsedTag) {
    CTag tag;
    fillFields(tag);
    tag.NewTagFlag(true);

    tag.InitTag(true);

    EXPECT_EQ(valuesOf(tag), valuesOf(CTag()));
    EXPECT_FALSE(tag.NewTagFlag());
}

TEST(CTag, TheFlagOfTheConstructorChangesNothing) {
    CTag const tag(true);

    EXPECT_EQ(valuesOf(tag), valuesOf(CTag()));
    EXPECT_FALSE(tag.NewTagFlag());
}

TEST(CTag, ACopyKeepsEveryFieldAndStaysNew) {
    CTag original;
    fillFields(original);
    original.NewTagFlag(true);

    CTag const copy(&original, false);

    EXPECT_EQ(valuesOf(copy), valuesOf(original));
    EXPECT_TRUE(copy.NewTagFlag());
}

TEST(CTag, ACopyIsDeep) {
    CTag original;
    original.Name("before");

    CTag const copy(&original, true);
    original.Name("after");

    EXPECT_EQ(copy.Name(), "before");
}

TEST(CAmbigTag, MadeWithAFlagHasButton0) {
    EXPECT_EQ(CAmbigTag(true).ButtonPressed(), 0);
}

TEST(CAmbigTag, KeepsTheButtonThatIsSet) {
    CAmbigTag tag;
    tag.ButtonPressed(-7);

    EXPECT_EQ(tag.ButtonPressed(), -7);
}

TEST(CAmbigTag, ACopyKeepsEveryFieldAndTheButton) {
    CAmbigTag original;
    fillFields(original);
    original.ButtonPressed(3);

    CAmbigTag const copy(&original, true);

    EXPECT_EQ(valuesOf(copy), valuesOf(original));
    EXPECT_EQ(copy.ButtonPressed(), 3);
}

TEST(CAmbigTag, ACopyIsNotNewThoughTheOriginalIs) {
    CAmbigTag original;
    original.NewTagFlag(true);

    EXPECT_FALSE(CAmbigTag(&original, false).NewTagFlag());
    EXPECT_TRUE(original.NewTagFlag());
}

TEST(CAmbigTag, IsDeletedWholeThroughItsBase) {
    auto candidate = std::make_unique<CAmbigTag>();
    candidate->Name("long enough that the text lies on the heap");

    std::unique_ptr<CTag> const base = std::move(candidate);

    EXPECT_EQ(base->Name(), "long enough that the text lies on the heap");
}

namespace {

void replaceAt(std::string& text, std::size_t at, char const* entity) {
    text.replace(at, 1, entity);
}

/** The encoding one kind of character after the other, each in the text that the last one left. */
std::string encodedInPasses(std::string text) {
    for (std::size_t at = text.find('&'); at != std::string::npos; at = text.find('&', at + 1)) {
        bool entity = false;
        for (std::string const known : {"&amp;", "&lt;", "&gt;", "&quot;", "&apos;"}) {
            entity = entity || text.compare(at, known.size(), known) == 0;
        }
        if (!entity) {
            replaceAt(text, at, "&amp;");
        }
    }
    for (auto const& [bare, encoded] : {std::pair{'<', "&lt;"}, std::pair{'>', "&gt;"}}) {
        for (std::size_t at = text.find(bare); at != std::string::npos; at = text.find(bare)) {
            replaceAt(text, at, encoded);
        }
    }
    for (auto const& [bare, encoded] : {std::pair{'"', "&quot;"}, std::pair{'\'', "&apos;"}}) {
        std::size_t const first = text.find(bare);
        if (first != std::string::npos) {
            replaceAt(text, first, encoded);
        }
    }
    return text;
}

} // namespace

struct Encoding {
    char const* text;
    char const* encoded;
};

class CTagHTMLEncodeTable : public testing::TestWithParam<Encoding> {};

TEST_P(CTagHTMLEncodeTable, EncodesWhatXMLWouldMisread) {
    EXPECT_EQ(CTag::HTMLEncode(GetParam().text), GetParam().encoded);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, CTagHTMLEncodeTable,
    testing::Values(Encoding{"", ""}, Encoding{"plain", "plain"}, Encoding{"a & b", "a &amp; b"},
                    Encoding{"a &amp; b", "a &amp; b"}, Encoding{"tail &", "tail &amp;"},
                    Encoding{"&&amp;&", "&amp;&amp;&amp;"}, Encoding{"&#39;", "&amp;#39;"},
                    Encoding{"&lt;&gt;&quot;&apos;", "&lt;&gt;&quot;&apos;"},
                    Encoding{"&lt", "&amp;lt"}, Encoding{"&LT;", "&amp;LT;"},
                    Encoding{"&quot", "&amp;quot"}, Encoding{"&nbsp;", "&amp;nbsp;"},
                    Encoding{"x<y>z", "x&lt;y&gt;z"}, Encoding{"<<>><", "&lt;&lt;&gt;&gt;&lt;"},
                    Encoding{"\"", "&quot;"}, Encoding{"'", "&apos;"},
                    Encoding{"Jos\xC3\xA9", "Jos\xC3\xA9"}));

TEST(CTagHTMLEncode, OnlyTheFirstDoubleQuoteIsEncoded) {
    EXPECT_EQ(CTag::HTMLEncode(R"(a"b"c")"), R"(a&quot;b"c")");
}

TEST(CTagHTMLEncode, OnlyTheFirstApostropheIsEncoded) {
    EXPECT_EQ(CTag::HTMLEncode("rock 'n' roll"), "rock &apos;n' roll");
}

TEST(CTagHTMLEncode, TheFirstOfEachKindIsEncodedInOneText) {
    EXPECT_EQ(CTag::HTMLEncode(R"('"'")"), R"(&apos;&quot;'")");
}

TEST(CTagHTMLEncode, ASecondRunEncodesTheNextQuoteAndTheNextApostropheOnly) {
    std::string const once = CTag::HTMLEncode(R"(<'"&'"'">)");

    EXPECT_EQ(once, R"(&lt;&apos;&quot;&amp;'"'"&gt;)");
    EXPECT_EQ(CTag::HTMLEncode(once), R"(&lt;&apos;&quot;&amp;&apos;&quot;'"&gt;)");
}

TEST(CTagHTMLEncode, EveryTextIsEncodedAsByFivePassesOneAfterTheOther) {
    std::mt19937 random(1); // NOLINT: the same texts in each run
    constexpr std::array<char const*, 20> PIECES = {
        "&", "<",    ">",  "\"",    "'",    "&amp;", "&lt;", "&gt;", "&quot;",   "&apos;",
        ";", "amp;", "lt", "quot;", "apos", "gt;",   "a",    " ",    "\xC3\xA9", "#39;"};
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (auto pieces = random() % 10; pieces > 0; --pieces) {
            text += PIECES[random() % PIECES.size()];
        }
        ASSERT_EQ(CTag::HTMLEncode(text), encodedInPasses(text)) << text;
    }
}

TEST(CTagHTMLEncode, TextsWithZeroBytesAreKeptWhole) {
    std::string const text("a\0<", 3);
    EXPECT_EQ(CTag::HTMLEncode(text), std::string("a\0&lt;", 6));
}

TEST(CTagHTMLEncode, AMillionAmpersandsAreMovedOnce) {
    constexpr std::size_t MILLION = 1000000;
    std::string const encoded = CTag::HTMLEncode(std::string(MILLION, '&'));

    EXPECT_EQ(encoded.size(), MILLION * 5);
    EXPECT_EQ(encoded.substr(encoded.size() - 10), "&amp;&amp;");
}
