#include "tagdata/TagFields.h"

#include "service/stdTools.h"

namespace {

using TextGetter = std::string (CTag::*)() const;
using TextSetter = void (CTag::*)(std::string);

enum class Encoding { Entities, None };

template <TextGetter Get, TextSetter Set>
constexpr TagField text(char const* name, char const* element,
                        Encoding encoding = Encoding::Entities) {
    return {name,
            element,
            encoding == Encoding::Entities,
            [](CTag const& tag) { return (tag.*Get)(); },
            [](CTag& tag, std::string const& value) { (tag.*Set)(value); },
            [](CTag const& tag) { return !(tag.*Get)().empty(); }};
}

constexpr TagField STOREFRONT = {
    "iTunesStorefrontID",
    "integer",
    false,
    [](CTag const& tag) { return stdTools::toString(tag.iTunesStorefrontID()); },
    [](CTag& tag, std::string const& value) {
        tag.iTunesStorefrontID(stdTools::parseULong(value));
    },
    [](CTag const& tag) { return tag.iTunesStorefrontID() != 0; }};

constexpr TagField PROGRAM = {
    "ProgramNumber",
    "integer",
    false,
    [](CTag const& tag) { return stdTools::toString(tag.ProgramNumber()); },
    [](CTag& tag, std::string const& value) { tag.ProgramNumber(stdTools::parseInt(value)); },
    [](CTag const& tag) { return tag.ProgramNumber() > 0; }};

constexpr std::array<TagField, TAG_FIELD_COUNT> FIELDS = {
    text<&CTag::Name, &CTag::Name>("Name", "string"),
    text<&CTag::Artist, &CTag::Artist>("Artist", "string"),
    text<&CTag::Album, &CTag::Album>("Album", "string"),
    // Raw, as the element is a number; an ampersand in it spoils the file.
    // Test: TagXML.TheSongIdIsWrittenRaw.
    text<&CTag::iTunesSongID, &CTag::iTunesSongID>("iTunesSongID", "integer", Encoding::None),
    STOREFRONT,
    text<&CTag::StationFrequency, &CTag::StationFrequency>("StationFrequency", "string"),
    text<&CTag::StationCallLetters, &CTag::StationCallLetters>("StationCallLetters", "string"),
    // An integer element around a text. Test: TagXML.ThePodcastFeedIsAnIntegerElement.
    text<&CTag::PodcastFeedURL, &CTag::PodcastFeedURL>("PodcastFeedURL", "integer"),
    text<&CTag::StationURL, &CTag::StationURL>("StationURL", "string"),
    text<&CTag::Genre, &CTag::Genre>("Genre", "string"),
    text<&CTag::TimeStamp, &CTag::TimeStamp>("TimeStamp", "date"),
    PROGRAM,
    text<&CTag::iTunesAffiliateID, &CTag::iTunesAffiliateID>("iTunesAffiliateID", "string"),
    text<&CTag::UnknownData, &CTag::UnknownData>("UnknownData", "data"),
};

} // namespace

std::array<TagField, TAG_FIELD_COUNT> const& tagFields() {
    return FIELDS;
}

TagField const* findTagField(std::string const& name) {
    for (TagField const& field : FIELDS) {
        if (name == field.name) {
            return &field;
        }
    }
    return nullptr;
}
