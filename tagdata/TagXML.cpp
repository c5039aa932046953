// The two written forms of a tag. Single tags and candidates share the fields of TagFields.h and
// differ only in what stands before them.
#include "tagdata/CAmbigTag.h"
#include "tagdata/CTag.h"
#include "tagdata/TagFields.h"

namespace {

constexpr char CRLF[] = "\r\n";

/** Most records fit; a longer one grows. */
constexpr std::size_t USUAL_LENGTH = 1024;

void beginAttribute(std::string& line, char const* name) {
    line += ' ';
    line += name;
    line += "=\"";
}

/** What stands behind the element's name and the attributes before the common ones. */
void appendFields(std::string& line, CTag const& tag) {
    for (TagField const& field : tagFields()) {
        beginAttribute(line, field.name);
        field.append(line, tag);
        line += '"';
    }
    line += "/>\n";
}

void beginEntry(std::string& text, char const* name, char const* element) {
    text.append("<key>").append(name).append("</key>").append(CRLF);
    text.append("<").append(element).append(">");
}

void endEntry(std::string& text, char const* element) {
    text.append("</").append(element).append(">").append(CRLF);
}

void appendNumber(std::string& text, char const* name, int value) {
    constexpr char INTEGER[] = "integer";
    beginEntry(text, name, INTEGER);
    text += stdTools::toString(value);
    endEntry(text, INTEGER);
}

std::string dictionary(bool isAmbiguous, int button, CTag const& tag) {
    std::string text;
    text.reserve(USUAL_LENGTH);
    text.append("<dict>").append(CRLF);
    appendNumber(text, "AmbiguousTag", isAmbiguous ? 1 : 0);
    appendNumber(text, BUTTON_PRESSED, button);
    for (TagField const& field : tagFields()) {
        if (field.isPresent(tag)) {
            beginEntry(text, field.name, field.element);
            field.append(text, tag);
            endEntry(text, field.element);
        }
    }
    return text.append("</dict>").append(CRLF);
}

/** A single tag has no button of its own; iTunes wants one all the same. */
constexpr int BUTTON_OF_A_SINGLE_TAG = 1;

} // namespace

std::string CTag::toXML() const {
    std::string line;
    line.reserve(USUAL_LENGTH);
    line += "<Tag";
    appendFields(line, *this);
    return line;
}

std::string CAmbigTag::toXML() const {
    std::string line;
    line.reserve(USUAL_LENGTH);
    line += "<AmbigTag";
    beginAttribute(line, BUTTON_PRESSED);
    line += stdTools::toString(mButtonPressed) + "\"";
    appendFields(line, *this);
    return line;
}

std::string CTag::toAppleXML() const {
    return dictionary(false, BUTTON_OF_A_SINGLE_TAG, *this);
}

std::string CAmbigTag::toAppleXML() const {
    return dictionary(true, mButtonPressed, *this);
}
