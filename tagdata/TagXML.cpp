// The two written forms of a tag. Single tags and candidates share the fields of TagFields.h and
// differ only in what stands before them.
#include "tagdata/CAmbigTag.h"
#include "tagdata/CTag.h"
#include "tagdata/TagFields.h"

namespace {

constexpr char CRLF[] = "\r\n";

std::string valueOf(TagField const& field, CTag const& tag) {
    return field.encoded ? CTag::HTMLEncode(field.text(tag)) : field.text(tag);
}

std::string attribute(char const* name, std::string const& value) {
    return std::string(" ") + name + "=\"" + value + "\"";
}

/** @param opening element name and what stands before the common attributes */
std::string recordLine(std::string const& opening, CTag const& tag) {
    std::string line = "<" + opening;
    for (TagField const& field : tagFields()) {
        line += attribute(field.name, valueOf(field, tag));
    }
    return line + "/>\n";
}

std::string entry(std::string const& name, std::string const& element, std::string const& value) {
    return "<key>" + name + "</key>" + CRLF + "<" + element + ">" + value + "</" + element + ">"
           + CRLF;
}

std::string dictionary(bool isAmbiguous, int button, CTag const& tag) {
    std::string text = std::string("<dict>") + CRLF;
    text += entry("AmbiguousTag", "integer", isAmbiguous ? "1" : "0");
    text += entry(BUTTON_PRESSED, "integer", stdTools::toString(button));
    for (TagField const& field : tagFields()) {
        if (field.isPresent(tag)) {
            text += entry(field.name, field.element, valueOf(field, tag));
        }
    }
    return text + "</dict>" + CRLF;
}

/** A single tag has no button of its own; iTunes wants one all the same. */
constexpr int BUTTON_OF_A_SINGLE_TAG = 1;

} // namespace

std::string CTag::toXML() const {
    return recordLine("Tag", *this);
}

std::string CAmbigTag::toXML() const {
    return recordLine("AmbigTag" + attribute(BUTTON_PRESSED, stdTools::toString(mButtonPressed)),
                      *this);
}

std::string CTag::toAppleXML() const {
    return dictionary(false, BUTTON_OF_A_SINGLE_TAG, *this);
}

std::string CAmbigTag::toAppleXML() const {
    return dictionary(true, mButtonPressed, *this);
}
