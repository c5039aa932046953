#include "radio/TagMembers.h"

#include "radio/FileIdentifier.h"
#include "radio/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>

namespace {

enum class Kind {
    Text,
    Whole,      ///< a number of 32 bits with a sign
    Count,      ///< the same, from 0 up
    Storefront, ///< 32 bits without a sign, sent as the number with a sign that has the same bits
};

struct Member {
    char const* name;
    Kind kind;
};

constexpr std::array<Member, 10> FURTHER = {{
    {tagmember::SONG_ID, Kind::Count},
    {tagmember::STATION_URL, Kind::Text},
    {tagmember::CALL_LETTERS, Kind::Text},
    {tagmember::FREQUENCY, Kind::Text},
    {tagmember::PROGRAM_NUMBER, Kind::Whole},
    {"iTunesStorefrontID", Kind::Storefront},
    {"iTunesAffiliateID", Kind::Text},
    {"iTunesStationID", Kind::Text},
    {"PodcastFeedURL", Kind::Whole},
    {"UnknownData", Kind::Text},
}};

struct OwnMember {
    char const* name;
    std::string Record::*text;
};

constexpr std::array<OwnMember, 4> OWN = {{
    {tagmember::NAME, &Record::title},
    {tagmember::ARTIST, &Record::artist},
    {tagmember::ALBUM, &Record::album},
    {tagmember::GENRE, &Record::genre},
}};

std::optional<int> wholeNumber(std::string const& text) {
    int number = 0;
    char const* const end = text.data() + text.size();
    auto const result = std::from_chars(text.data(), end, number);
    bool const isWhole = result.ec == std::errc() && result.ptr == end;
    return isWhole ? std::make_optional(number) : std::nullopt;
}

std::optional<int> storefront(std::string const& text) {
    std::uint32_t number = 0;
    char const* const end = text.data() + text.size();
    auto const result = std::from_chars(text.data(), end, number);
    bool const isWhole = result.ec == std::errc() && result.ptr == end;
    return isWhole ? std::make_optional(static_cast<int>(number)) : wholeNumber(text);
}

std::optional<int> numberOf(Kind kind, std::string const& text) {
    switch (kind) {
    case Kind::Count:
        return numberOfDigits(text);
    case Kind::Storefront:
        return storefront(text);
    default:
        return wholeNumber(text);
    }
}

void store(Json::Value& tag, Member const& member, std::string const& text) {
    if (member.kind == Kind::Text) {
        if (saysSomething(text)) {
            tag[member.name] = text;
        }
    } else if (std::optional<int> const number = numberOf(member.kind, text)) {
        tag[member.name] = *number;
    }
}

template <class Table>
auto const* findIn(Table const& table, std::string_view name) {
    auto const found = std::find_if(table.begin(), table.end(), [name](auto const& member) {
        return sameWords(member.name, name);
    });
    return found == table.end() ? nullptr : &*found;
}

} // namespace

std::vector<std::string> const& songMembers() {
    static std::vector<std::string> const NAMES = [] {
        std::vector<std::string> names;
        std::transform(OWN.begin(), OWN.end(), std::back_inserter(names),
                       [](OwnMember const& member) { return member.name; });
        std::transform(FURTHER.begin(), FURTHER.end(), std::back_inserter(names),
                       [](Member const& member) { return member.name; });
        return names;
    }();
    return NAMES;
}

bool storeTagMember(Record& record, std::string_view name, std::string const& text) {
    if (OwnMember const* const own = findIn(OWN, name)) {
        record.*(own->text) = text;
        return true;
    }
    Member const* const further = findIn(FURTHER, name);
    if (further != nullptr) {
        store(record.tag, *further, text);
    }
    return further != nullptr;
}
