#include "service/RequestedTag.h"

#include "service/JsonElements.h"
#include "service/stdTools.h"

#include <cstdint>
#include <memory>

namespace {

/** The station id has no field in a record and ends here. */
void fillRecord(CTag& record, RequestedTag const& tag) {
    for (RequestedText const& text : REQUESTED_TEXTS) {
        (record.*text.keep)(tag.*text.member);
    }
    if (tag.iTunesSongID >= 0) {
        record.iTunesSongID(stdTools::toString(tag.iTunesSongID));
    }
    record.iTunesStorefrontID(static_cast<std::uint32_t>(tag.iTunesStorefrontID));
    if (tag.PodcastFeedURL != 0) {
        record.PodcastFeedURL(stdTools::toString(tag.PodcastFeedURL));
    }
    record.ProgramNumber(tag.ProgramNumber);
}

} // namespace

RequestedTag RequestedTag::read(Json::Value const& json) {
    RequestedTag tag;
    for (RequestedText const& text : REQUESTED_TEXTS) {
        readIfPresent(json, text.key, tag.*text.member);
    }
    readIfPresent(json, "iTunesStationID", tag.iTunesStationID);
    readIfPresent(json, "ButtonPressed", tag.ButtonPressed);
    readIfPresent(json, "iTunesSongID", tag.iTunesSongID);
    readIfPresent(json, "iTunesStorefrontID", tag.iTunesStorefrontID);
    readIfPresent(json, "PodcastFeedURL", tag.PodcastFeedURL);
    readIfPresent(json, "ProgramNumber", tag.ProgramNumber);
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
