#include "tools/TagJson.h"

#include "tagdata/CAmbigTag.h"
#include "tagdata/TagFields.h"
#include "tools/Console.h"
#include "tools/RequestFields.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

namespace {

/** What "tagRequest" always reads. */
constexpr std::array<std::string_view, 2> ALWAYS_READ = {"Name", "Artist"};

bool isAlwaysRead(std::string_view name) {
    return std::find(ALWAYS_READ.begin(), ALWAYS_READ.end(), name) != ALWAYS_READ.end();
}

/** The field of the request that holds the value as a number, null if it is a text there. */
RequestField const* findNumber(char const* name) {
    RequestField const* const field = findRequestField(name);
    return field != nullptr && field->kind == FieldKind::Number ? field : nullptr;
}

/** The number that has this text as its decimal form, and so comes back as it went. */
std::optional<Json::Int64> numberOf(std::string const& text) {
    Json::Int64 number = 0;
    auto const result = std::from_chars(text.data(), text.data() + text.size(), number);
    bool const isWhole = result.ec == std::errc() && std::to_string(number) == text;
    return isWhole ? std::make_optional(number) : std::nullopt;
}

/** A storefront above the signed range travels as the negative number with the same 32 bits. */
std::optional<Json::Int> carriedNumber(TagField const& field, RequestField const& number,
                                       CTag const& tag) {
    if (field.name == std::string_view("iTunesStorefrontID")) {
        return static_cast<Json::Int>(static_cast<Json::UInt>(tag.iTunesStorefrontID()));
    }
    std::optional<Json::Int64> const value = numberOf(field.text(tag));
    bool const fits = value && *value >= number.lowest && *value <= Json::Value::maxInt;
    return fits ? std::make_optional(static_cast<Json::Int>(*value)) : std::nullopt;
}

void addNumber(Json::Value& json, TagField const& field, RequestField const& number,
               CTag const& tag, std::ostream& warnings) {
    if (std::optional<Json::Int> const value = carriedNumber(field, number, tag)) {
        json[field.name] = *value;
    } else {
        warnings << PROGRAM << ": " << field.name << " \"" << field.text(tag)
                 << "\" is left out: tagRequest carries whole numbers of 32 bits there\n";
    }
}

} // namespace

Json::Value toJson(CTag const& tag, std::ostream& warnings) {
    CTag const blank;
    Json::Value json(Json::objectValue);
    for (TagField const& field : tagFields()) {
        if (field.text(tag) == field.text(blank) && !isAlwaysRead(field.name)) {
            continue;
        }
        if (RequestField const* const number = findNumber(field.name)) {
            addNumber(json, field, *number, tag, warnings);
        } else {
            json[field.name] = field.text(tag);
        }
    }
    return json;
}

Json::Value toJson(CAmbigTag const& candidate, std::ostream& warnings) {
    constexpr int LAST_CARRIED_BUTTON = 1;
    Json::Value json = toJson(static_cast<CTag const&>(candidate), warnings);
    int const button = candidate.ButtonPressed();
    json[BUTTON_PRESSED] = button != 0;
    if (button > LAST_CARRIED_BUTTON) {
        warnings << PROGRAM << ": button " << button
                 << " becomes true: tagRequest knows the buttons 0 and 1\n";
    }
    return json;
}
