#include "tagdata/TagStream.h"

namespace {

constexpr std::array<StreamFieldNames, STREAM_FIELD_COUNT> NAMES = {{
    {"Name", "Name", "Name"},
    {"Artist", "Artist", "Artist"},
    {"Album", "Album", "Album"},
    {"Genre", "Genre", "Genre"},
    {"ProgramNumber", "Program Number", "ProgramNumber"},
    {"iTunesSongId", "iTunes Song ID", "iTunesSongID"},
    {"iTunesStorefrontId", "iTunes Storefront ID", "iTunesStorefrontID"},
    {"StationCallLetters", "Station Call Letters", "StationCallLetters"},
    {"TimeStamp", "Time Stamp", "TimeStamp"},
    {"PodcastFeedURL", "Podcast Feed URL", "PodcastFeedURL"},
    {"StationURL", "Station URL", "StationURL"},
    {"iTunesAffiliateId", "iTunes Affiliate ID", "iTunesAffiliateID"},
    {"UnknownData", "Unknown Data", "UnknownData"},
    {"StationFrequency", "Station Frequency", "StationFrequency"},
}};

} // namespace

std::array<StreamFieldNames, STREAM_FIELD_COUNT> const& streamFieldNames() {
    return NAMES;
}

TagStream::TagStream(CLinkedList<unsigned int> const& bytes) {
    for (unsigned int const* const byte : bytes) {
        mBytes.push_back(*byte);
    }
}

unsigned int TagStream::at(StreamPosition index) const {
    if (index >= mBytes.size()) {
        throwTagException(CTagException::ExBadIndex, "Index greater than list count");
    }
    return mBytes[static_cast<std::size_t>(index)];
}

std::string TagStream::latin1(TagSpan span) const {
    std::string text;
    for (StreamPosition index = span.start; index < span.end(); ++index) {
        text += static_cast<char>(static_cast<unsigned char>(at(index)));
    }
    return text;
}

TagBlock TagStream::block(StreamPosition lengthsAt, StreamPosition firstFieldAt) const {
    TagBlock block;
    StreamPosition start = firstFieldAt;
    for (TagSpan& field : block.fields) {
        field = {start, at(lengthsAt++)};
        start = field.end();
    }
    block.buttonAt = start;
    return block;
}
