#pragma once

#include <json/value.h>

#include <array>
#include <string_view>

/** How "tagRequest" reads a value. */
enum class FieldKind { Text, Number, YesNo };

/** One key of a tag in a "tagRequest", and the option that gives it. */
struct RequestField {
    char const* key;
    char const* option; ///< null where no option is offered
    FieldKind kind;
    char const* meaning;
    Json::Int64 lowest; ///< of a number as a user gives it; what lies below would be ignored
    Json::Int64 highest;
};

constexpr std::size_t REQUEST_FIELD_COUNT = 16;

/** Every key that the service reads, in the order in which people are shown them. */
std::array<RequestField, REQUEST_FIELD_COUNT> const& requestFields();

/** The field of that key, null if the service does not read it. */
RequestField const* findRequestField(std::string_view key);
