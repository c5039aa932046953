#pragma once

#include "tagdata/CLinkedList.h"
#include "tagdata/CTag.h"

#include <array>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

// Tag streams put together by hand, for the tests of the decoders. Nothing here uses the code
// under test: the layout is written down a second time.

using Bytes = std::vector<unsigned int>;

/** The fields in the order of a stream. */
enum Field : std::size_t {
    Name,
    Artist,
    Album,
    Genre,
    ProgramNumber,
    SongId,
    StorefrontId,
    CallLetters,
    TimeStamp,
    PodcastFeedURL,
    StationURL,
    AffiliateId,
    UnknownData,
    StationFrequency,
    FieldCount,
};

using Fields = std::map<Field, std::string>;

/** The values of a record, in the order of a stream. */
using Values = std::array<std::string, FieldCount>;

inline ListOwner<unsigned int> listOf(Bytes const& bytes) {
    auto list = makeList<unsigned int>();
    for (unsigned int const byte : bytes) {
        list->AddRear(std::make_unique<unsigned int>(byte).release());
    }
    return list;
}

inline Bytes bytesOf(CLinkedList<unsigned int> const& list) {
    Bytes bytes;
    for (unsigned int const* const byte : list) {
        bytes.push_back(*byte);
    }
    return bytes;
}

inline void append(Bytes& stream, std::string const& text) {
    for (char const character : text) {
        stream.push_back(static_cast<unsigned char>(character));
    }
}

inline void appendLengths(Bytes& stream, Fields const& fields, unsigned int buttonLength) {
    for (std::size_t field = 0; field < FieldCount; ++field) {
        auto const found = fields.find(static_cast<Field>(field));
        stream.push_back(found == fields.end() ? 0U
                                               : static_cast<unsigned int>(found->second.size()));
    }
    stream.push_back(buttonLength);
}

inline void appendTexts(Bytes& stream, Fields const& fields) {
    for (auto const& field : fields) {
        append(stream, field.second);
    }
}

inline Bytes singleStream(Fields const& fields, unsigned int buttonLength = 0) {
    Bytes stream = {0};
    appendLengths(stream, fields, buttonLength);
    appendTexts(stream, fields);
    return stream;
}

struct Candidate {
    Fields fields;
    std::string button;
    unsigned int buttonLength = 1;
};

inline Bytes ambiguousStream(Candidate const& first, Candidate const& second) {
    Bytes stream = {1};
    appendLengths(stream, first.fields, first.buttonLength);
    appendLengths(stream, second.fields, second.buttonLength);
    appendTexts(stream, first.fields);
    append(stream, first.button);
    appendTexts(stream, second.fields);
    append(stream, second.button);
    return stream;
}

inline Bytes prefix(Bytes const& stream, std::size_t size) {
    return {stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(size)};
}

inline Values valuesOf(CTag const& tag) {
    return {tag.Name(),
            tag.Artist(),
            tag.Album(),
            tag.Genre(),
            std::to_string(tag.ProgramNumber()),
            tag.iTunesSongID(),
            std::to_string(tag.iTunesStorefrontID()),
            tag.StationCallLetters(),
            tag.TimeStamp(),
            tag.PodcastFeedURL(),
            tag.StationURL(),
            tag.iTunesAffiliateID(),
            tag.UnknownData(),
            tag.StationFrequency()};
}

/** The values of a record in which only these fields are set. */
inline Values onlyThese(Fields const& fields) {
    Values values;
    values[ProgramNumber] = "0";
    values[StorefrontId] = "0";
    for (auto const& field : fields) {
        values[field.first] = field.second;
    }
    return values;
}
