#pragma once

#include "SaxAttributes.h"
#include "tagdata/CAmbigTag.h"
#include "tagdata/CLinkedList.h"
#include "tagdata/CTag.h"
#include "tagdata/TagFields.h"

#include <memory>

/** Stores an attribute in the field it names; an unknown one is ignored. */
inline void assignAttribute(CTag& tag, SaxAttribute attribute, TagFieldFinder& fields) {
    if (TagField const* const field = fields.find(attribute.name)) {
        field->assign(tag, attribute.value());
    }
}

inline void assignAttribute(CAmbigTag& tag, SaxAttribute attribute, TagFieldFinder& fields) {
    if (attribute.is(BUTTON_PRESSED)) {
        tag.ButtonPressed(stdTools::parseInt(attribute.value()));
    } else {
        assignAttribute(static_cast<CTag&>(tag), attribute, fields);
    }
}

/** Appends the record that one element holds. @throws CTagException* with ExConversion */
template <class Tag>
void appendTag(CLinkedList<Tag>& tags, SaxAttributes attributes) {
    auto tag = std::make_unique<Tag>();
    TagFieldFinder fields;
    for (SaxAttribute const attribute : attributes) {
        assignAttribute(*tag, attribute, fields);
    }
    tags.AddRear(tag.release());
}
