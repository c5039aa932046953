#include "tools/RequestFields.h"

namespace {

constexpr Json::Int64 LOWEST = Json::Value::minInt;
constexpr Json::Int64 HIGHEST = Json::Value::maxInt;
/** A storefront has 32 bits without a sign; above the signed range it travels as a negative. */
constexpr Json::Int64 HIGHEST_STOREFRONT = Json::Value::maxUInt;

constexpr RequestField text(char const* key, char const* option, char const* meaning) {
    return {key, option, FieldKind::Text, meaning, 0, 0};
}

constexpr std::array<RequestField, REQUEST_FIELD_COUNT> FIELDS = {{
    text("Artist", "--artist", "who plays it"),
    text("Name", "--name", "title of the song"),
    text("Album", "--album", "the album it is from"),
    {"ButtonPressed", nullptr, FieldKind::YesNo, "", 0, 0},
    text("Genre", "--genre", "its genre"),
    text("iTunesAffiliateID", "--affiliate", "affiliate identifier"),
    {"iTunesSongID", "--song-id", FieldKind::Number, "song identifier", 0, HIGHEST},
    // Read by the service and kept nowhere, so no option offers it.
    text("iTunesStationID", nullptr, ""),
    {"iTunesStorefrontID", "--storefront", FieldKind::Number, "storefront identifier", LOWEST,
     HIGHEST_STOREFRONT},
    {"PodcastFeedURL", "--feed", FieldKind::Number, "podcast feed, a number here", LOWEST, HIGHEST},
    {"ProgramNumber", "--program", FieldKind::Number, "program number of the station", LOWEST,
     HIGHEST},
    text("StationCallLetters", "--call-letters", "call letters of the station"),
    text("StationFrequency", "--frequency", "frequency of the station"),
    text("StationURL", "--url", "web address of the station"),
    text("TimeStamp", "--time", "when it was heard, as in 2026-05-17T16:04:09Z"),
    text("UnknownData", "--data", "further bytes of the tag, in Base64"),
}};

} // namespace

std::array<RequestField, REQUEST_FIELD_COUNT> const& requestFields() {
    return FIELDS;
}

RequestField const* findRequestField(std::string_view key) {
    for (RequestField const& field : FIELDS) {
        if (key == field.key) {
            return &field;
        }
    }
    return nullptr;
}
