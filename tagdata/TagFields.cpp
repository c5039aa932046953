#include "tagdata/TagFields.h"

#include "HtmlText.h"
#include "service/stdTools.h"

#include <cstring>
#include <utility>

namespace {

enum class Encoding { Entities, None };

void appendText(std::string& text, std::string const& value, Encoding encoding) {
    if (encoding == Encoding::Entities) {
        appendEncoded(text, value);
    } else {
        text += value;
    }
}

template <std::string CTag::*Member, Encoding HowEncoded = Encoding::Entities>
constexpr TagField text(char const* name, char const* element) {
    return {name,
            element,
            [](CTag const& tag) { return tag.*Member; },
            [](std::string& text, CTag const& tag) { appendText(text, tag.*Member, HowEncoded); },
            [](CTag& tag, std::string value) { tag.*Member = std::move(value); },
            [](CTag const& tag) { return !(tag.*Member).empty(); }};
}

constexpr TagField STOREFRONT = {
    "iTunesStorefrontID",
    "integer",
    [](CTag const& tag) { return stdTools::toString(tag.iTunesStorefrontID()); },
    [](std::string& text, CTag const& tag) {
        text += stdTools::toString(tag.iTunesStorefrontID());
    },
    [](CTag& tag, std::string value) { tag.iTunesStorefrontID(stdTools::parseULong(value)); },
    [](CTag const& tag) { return tag.iTunesStorefrontID() != 0; }};

constexpr TagField PROGRAM = {
    "ProgramNumber",
    "integer",
    [](CTag const& tag) { return stdTools::toString(tag.ProgramNumber()); },
    [](std::string& text, CTag const& tag) { text += stdTools::toString(tag.ProgramNumber()); },
    [](CTag& tag, std::string value) { tag.ProgramNumber(stdTools::parseInt(value)); },
    [](CTag const& tag) { return tag.ProgramNumber() > 0; }};

} // namespace

/** Reaches the texts of a record where they stand, as the accessors give copies. */
struct TagFieldTable {
    static constexpr std::array<TagField, TAG_FIELD_COUNT> FIELDS = {
        text<&CTag::mName>("Name", "string"),
        text<&CTag::mArtist>("Artist", "string"),
        text<&CTag::mAlbum>("Album", "string"),
        // Raw, as the element is a number; an ampersand in it spoils the file.
        // Test: TagXML.TheSongIdIsWrittenRaw.
        text<&CTag::mITunesSongID, Encoding::None>("iTunesSongID", "integer"),
        STOREFRONT,
        text<&CTag::mStationFrequency>("StationFrequency", "string"),
        text<&CTag::mStationCallLetters>("StationCallLetters", "string"),
        // An integer element around a text. Test: TagXML.ThePodcastFeedIsAnIntegerElement.
        text<&CTag::mPodcastFeedURL>("PodcastFeedURL", "integer"),
        text<&CTag::mStationURL>("StationURL", "string"),
        text<&CTag::mGenre>("Genre", "string"),
        text<&CTag::mTimeStamp>("TimeStamp", "date"),
        PROGRAM,
        text<&CTag::mITunesAffiliateID>("iTunesAffiliateID", "string"),
        text<&CTag::mUnknownData>("UnknownData", "data"),
    };
};

std::array<TagField, TAG_FIELD_COUNT> const& tagFields() {
    return TagFieldTable::FIELDS;
}

TagField const* findTagField(std::string_view name) {
    for (TagField const& field : tagFields()) {
        if (name == field.name) {
            return &field;
        }
    }
    return nullptr;
}

TagField const* TagFieldFinder::find(char const* name) {
    TagField const* const expected = &tagFields()[mNext];
    TagField const* const found =
        std::strcmp(name, expected->name) == 0 ? expected : findTagField(name);
    if (found != nullptr) {
        mNext = static_cast<std::size_t>(found + 1 - tagFields().data()) % TAG_FIELD_COUNT;
    }
    return found;
}
