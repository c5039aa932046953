#pragma once

#include "tagdata/CTag.h"

#include <array>
#include <string>
#include <string_view>

/**
 * One field of a tag as the files know it. The name is the attribute's in the local files and the
 * key's in a property list.
 */
struct TagField {
    char const* name;
    char const* element; ///< what holds the value in a property list

    /** The value as text, not encoded. */
    std::string (*text)(CTag const& tag);
    /** Appends the value as the files hold it: encoded if the field is. */
    void (*append)(std::string& text, CTag const& tag);
    /** Stores what text() gave. @throws CTagException* with ExConversion if a number is none */
    void (*assign)(CTag& tag, std::string value);
    /** Whether the value is worth a key in a property list. */
    bool (*isPresent)(CTag const& tag);
};

/** The attribute of an ambiguous tag's button, which stands before all fields. */
constexpr char BUTTON_PRESSED[] = "ButtonPressed";

constexpr std::size_t TAG_FIELD_COUNT = 14;

/** All fields, in the order in which every file holds them. */
std::array<TagField, TAG_FIELD_COUNT> const& tagFields();

/** The field of that name, null if there is none. */
TagField const* findTagField(std::string_view name);

/** Finds one field after the other, soonest in the order in which the files hold them. */
class TagFieldFinder {
public:
    /** As findTagField. */
    TagField const* find(char const* name);

private:
    std::size_t mNext = 0; ///< the index of the field that most likely comes next
};
