#pragma once

#include "tagdata/CLinkedList.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/**
 * A place in a tag stream, counted from its start. Wider than the lengths in a stream, which have
 * 32 bits, so that no sum of them wraps on any machine and points back to bytes that are there.
 * Test: HexParserWideLengths.AreNowhereTakenForBytesThatAreThere.
 */
using StreamPosition = std::uint64_t;

/** Where a field lies. */
struct TagSpan {
    StreamPosition start = 0;
    StreamPosition length = 0;

    StreamPosition end() const { return start + length; }
};

/** The fields of one tag in the order of the stream, for use as indexes. */
enum TagStreamField : std::size_t {
    STREAM_NAME,
    STREAM_ARTIST,
    STREAM_ALBUM,
    STREAM_GENRE,
    STREAM_PROGRAM_NUMBER,
    STREAM_SONG_ID,
    STREAM_STOREFRONT_ID,
    STREAM_CALL_LETTERS,
    STREAM_TIME_STAMP,
    STREAM_PODCAST_FEED_URL,
    STREAM_STATION_URL,
    STREAM_AFFILIATE_ID,
    STREAM_UNKNOWN_DATA,
    STREAM_STATION_FREQUENCY,
    STREAM_FIELD_COUNT,
};

/** Where the fields of one tag lie, and behind them the byte of its button. */
struct TagBlock {
    std::array<TagSpan, STREAM_FIELD_COUNT> fields;
    StreamPosition buttonAt = 0;
};

/** The names of a field. */
struct StreamFieldNames {
    char const* field;  ///< in the log lines about the layout, and in failure texts
    char const* title;  ///< in the log lines that announce the field
    char const* member; ///< in the tag record, see TagFields.h
};

/** The names of all fields, in the order of the stream. */
std::array<StreamFieldNames, STREAM_FIELD_COUNT> const& streamFieldNames();

/**
 * The bytes of a tag stream at hand, so that reading one doesn't walk the list again.
 *
 * Every read is checked: what CLinkedList::PeekAt refuses is refused, and so is the index equal to
 * the count, which names no byte.
 */
class TagStream {
public:
    static constexpr StreamPosition FORM_AT = 0; ///< 0 for a single tag, else ambiguous
    static constexpr StreamPosition FIRST_BLOCK_AT = 1;
    static constexpr StreamPosition SECOND_BLOCK_AT = 16;
    static constexpr StreamPosition SINGLE_FIELDS_AT = 16;
    static constexpr StreamPosition AMBIGUOUS_FIELDS_AT = 31;

    /** Copies the bytes; the list is not needed afterwards. */
    explicit TagStream(CLinkedList<unsigned int> const& bytes);

    StreamPosition count() const { return mBytes.size(); }

    /** @throws CTagException* with ExBadIndex if there is no such byte */
    unsigned int at(StreamPosition index) const;

    /** The bytes as Latin-1 text, cut to 8 bits each. @throws like at() */
    std::string latin1(TagSpan span) const;

    /**
     * The layout that a length block announces; nothing says that the fields are there.
     * @throws like at() if the fourteen lengths are not
     */
    TagBlock block(StreamPosition lengthsAt, StreamPosition firstFieldAt) const;

private:
    std::vector<unsigned int> mBytes;
};
