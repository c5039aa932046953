#include "service/RequestedTag.h"

#include "service/JsonElements.h"
#include "service/stdTools.h"

#include <cstdint>
#include <memory>

namespace {

/** The station id has no member in a record and ends here. */
void fillRecord(CTag& record, RequestedTag const& tag) {
    record.Artist(tag.Artist);
    record.Name(tag.Name);
    record.Album(tag.Album);
    record.Genre(tag.Genre);
    record.iTunesAffiliateID(tag.iTunesAffiliateID);
    if (tag.iTunesSongID >= 0) {
        record.iTunesSongID(stdTools::toString(tag.iTunesSongID));
    }
    record.iTunesStorefrontID(static_cast<std::uint32_t>(tag.iTunesStorefrontID));
    if (tag.PodcastFeedURL != 0) {
        record.PodcastFeedURL(stdTools::toString(tag.PodcastFeedURL));
    }
    record.ProgramNumber(tag.ProgramNumber);
    record.StationCallLetters(tag.StationCallLetters);
    record.StationFrequency(tag.StationFrequency);
    record.StationURL(tag.StationURL);
    record.TimeStamp(tag.TimeStamp);
    record.UnknownData(tag.UnknownData);
}

} // namespace

RequestedTag RequestedTag::read(Json::Value const& json) {
    RequestedTag tag;
    tag.Artist = json["Artist"].asString();
    tag.Name = json["Name"].asString();
    readIfPresent(json, "Album", tag.Album);
    readIfPresent(json, "ButtonPressed", tag.ButtonPressed);
    readIfPresent(json, "Genre", tag.Genre);
    readIfPresent(json, "iTunesAffiliateID", tag.iTunesAffiliateID);
    readIfPresent(json, "iTunesSongID", tag.iTunesSongID);
    readIfPresent(json, "iTunesStationID", tag.iTunesStationID);
    readIfPresent(json, "iTunesStorefrontID", tag.iTunesStorefrontID);
    readIfPresent(json, "PodcastFeedURL", tag.PodcastFeedURL);
    readIfPresent(json, "ProgramNumber", tag.ProgramNumber);
    readIfPresent(json, "StationCallLetters", tag.StationCallLetters);
    readIfPresent(json, "StationFrequency", tag.StationFrequency);
    readIfPresent(json, "StationURL", tag.StationURL);
    readIfPresent(json, "TimeStamp", tag.TimeStamp);
    readIfPresent(json, "UnknownData", tag.UnknownData);
    return tag;
}

CTag* RequestedTag::createCTag() const {
    auto record = std::make_unique<CTag>();
    fillRecord(*record, *this);
    return record.release();
}

CAmbigTag* RequestedTag::createCAmbigTag() const {
    auto record = std::make_unique<CAmbigTag>();
    fillRecord(*record, *this);
    record->ButtonPressed(ButtonPressed ? 1 : 0);
    return record.release();
}
