// Holds docs/tag-stream.md to what the decoder does.
#include "Decoding.h"
#include "service/SampleStreams.h"
#include "support/Page.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>

namespace {

constexpr char SINGLE[] = "A single tag, byte by byte";
constexpr char AMBIGUOUS[] = "An ambiguous tag, byte by byte";

Bytes bytesFrom(std::string const& pairs) {
    ListOwner<unsigned int> const list(CHexParser(0, false).StringToList(pairs));
    return bytesOf(*list);
}

/** One row of a worked example. */
struct Row {
    explicit Row(std::vector<std::string> const& cells)
        : offset(std::stoul(cells.at(0))), bytes(bytesFrom(cells.at(1))), what(cells.at(2)),
          value(cells.at(3)) {}

    std::size_t offset;
    Bytes bytes;
    std::string what;
    std::string value;
};

class TagStreamPage : public testing::Test {
protected:
    std::vector<Row> rows(char const* heading) const {
        std::vector<Row> found;
        for (std::vector<std::string> const& cells : mPage.rows(heading)) {
            found.emplace_back(cells);
        }
        return found;
    }

    /** The stream that the rows make up, each at the offset that it gives. */
    static Bytes stream(std::vector<Row> const& rows) {
        Bytes bytes;
        for (Row const& row : rows) {
            EXPECT_EQ(row.offset, bytes.size()) << row.what;
            bytes.insert(bytes.end(), row.bytes.begin(), row.bytes.end());
        }
        return bytes;
    }

    /** The value that the page gives for a field, or the one of a field that is not there. */
    static std::string valueOf(std::vector<Row> const& rows, std::string const& what,
                               std::string const& otherwise) {
        for (Row const& row : rows) {
            if (row.what == what) {
                return row.value;
            }
        }
        return otherwise;
    }

    static Values valuesOnPage(std::vector<Row> const& rows, std::string const& of) {
        constexpr std::array<char const*, FieldCount> NAMES = {"Name",
                                                               "Artist",
                                                               "Album",
                                                               "Genre",
                                                               "ProgramNumber",
                                                               "iTunesSongId",
                                                               "iTunesStorefrontId",
                                                               "StationCallLetters",
                                                               "TimeStamp",
                                                               "PodcastFeedURL",
                                                               "StationURL",
                                                               "iTunesAffiliateId",
                                                               "UnknownData",
                                                               "StationFrequency"};
        Values values = onlyThese({});
        for (std::size_t field = 0; field < FieldCount; ++field) {
            values[field] = valueOf(rows, NAMES[field] + of, values[field]);
        }
        return values;
    }

    Page mPage{SONGLATCH_DOCS "/tag-stream.md"};
};

} // namespace

TEST_F(TagStreamPage, TheWorkedExamplesAreWhatTheDecoderReads) {
    std::vector<Row> const single = rows(SINGLE);
    EXPECT_EQ(valuesOf(*decodeSingle(stream(single))), valuesOnPage(single, ""));

    std::vector<Row> const ambiguous = rows(AMBIGUOUS);
    std::vector<DecodedCandidate> const candidates = candidatesOf(stream(ambiguous));
    EXPECT_EQ(candidates[0].values, valuesOnPage(ambiguous, " of the first"));
    EXPECT_EQ(candidates[1].values, valuesOnPage(ambiguous, " of the second"));
    EXPECT_EQ(std::to_string(candidates[0].button),
              valueOf(ambiguous, "ButtonPressed of the first", ""));
    EXPECT_EQ(std::to_string(candidates[1].button),
              valueOf(ambiguous, "ButtonPressed of the second", ""));
}

TEST_F(TagStreamPage, TheLengthsOnThePageAreThoseOfTheBytes) {
    for (Row const& row : rows(SINGLE)) {
        if (row.what.rfind("length of ", 0) == 0) {
            EXPECT_EQ(std::to_string(row.bytes.at(0)), row.value) << row.what;
        }
    }
}

TEST_F(TagStreamPage, TheSingleExampleIsASampleAndTheBlockAboveItsTable) {
    constexpr std::size_t STORE_SONG = 3;
    EXPECT_EQ(stream(rows(SINGLE)), bytesFrom(sampleStreams()[STORE_SONG]));

    std::string block = mPage.block(SINGLE, "```");
    std::replace(block.begin(), block.end(), '\n', ' ');
    EXPECT_EQ(bytesFrom(block), bytesFrom(sampleStreams()[STORE_SONG]));
}
