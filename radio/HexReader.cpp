#include "radio/HexReader.h"

#include "radio/LogLine.h"
#include "radio/TagMembers.h"
#include "radio/Text.h"
#include "tagdata/CTagException.h"
#include "tagdata/HexParser.h"
#include "tagdata/TagFields.h"

#include <algorithm>
#include <cctype>
#include <memory>

namespace {

constexpr std::size_t DIGITS_IN_A_PAIR = 2;
/** The form byte and fourteen lengths: a stream with less cannot be decoded. */
constexpr std::size_t SHORTEST_STREAM = 15;
constexpr char SINGLE_FORM[] = "00";

bool isBlank(char letter) {
    return letter == ' ' || letter == '\t';
}

bool isHexDigit(char letter) {
    return std::isxdigit(static_cast<unsigned char>(letter)) != 0;
}

/** The pairs with single blanks between them, as the decoder reads them. */
std::string spaced(std::string_view message) {
    std::string pairs;
    std::size_t digits = 0;
    for (char const letter : message) {
        if (isBlank(letter)) {
            continue;
        }
        if (digits != 0 && digits % DIGITS_IN_A_PAIR == 0) {
            pairs += ' ';
        }
        pairs += letter;
        ++digits;
    }
    return pairs;
}

Record recordOf(CTag const& tag) {
    Record record;
    for (TagField const& field : tagFields()) {
        if (field.isPresent(tag)) {
            storeTagMember(record, field.name, cleanText(field.text(tag)));
        }
    }
    return record;
}

void takeSingle(CLinkedList<unsigned int>& stream, Programme& programme, std::string const& time) {
    std::unique_ptr<CTag> const tag(CHexParser(0, false).ParseSingle(&stream));
    programme.takeRecord(recordOf(*tag), std::nullopt, time.empty() ? tag->TimeStamp() : time);
}

void takeAmbiguous(CLinkedList<unsigned int>& stream, Programme& programme,
                   std::string const& time) {
    ListOwner<CAmbigTag> const candidates(CHexParser(0, false).ParseAmbig(&stream));
    CAmbigTag const* playing = candidates->PeekAt(1);
    CAmbigTag const* other = candidates->PeekAt(0);
    if (other->ButtonPressed() != 0 && playing->ButtonPressed() == 0) {
        std::swap(playing, other);
    }
    programme.takeRecord(recordOf(*playing), recordOf(*other),
                         time.empty() ? playing->TimeStamp() : time);
}

} // namespace

bool HexReader::isStream(std::string_view message) {
    auto const blanks =
        static_cast<std::size_t>(std::count_if(message.begin(), message.end(), isBlank));
    std::size_t const digits = message.size() - blanks;
    return digits % DIGITS_IN_A_PAIR == 0 && digits >= SHORTEST_STREAM * DIGITS_IN_A_PAIR
           && std::all_of(message.begin(), message.end(),
                          [](char letter) { return isBlank(letter) || isHexDigit(letter); });
}

bool HexReader::readLine(std::string_view text) {
    LogLine const line(text);
    if (line.message.empty()) {
        return true;
    }
    if (!isStream(line.message)) {
        return false;
    }
    std::string const pairs = spaced(line.message);
    ListOwner<unsigned int> const stream(CHexParser(0, false).StringToList(pairs));
    bool const isSingle = pairs.compare(0, DIGITS_IN_A_PAIR, SINGLE_FORM) == 0;
    try {
        (isSingle ? takeSingle : takeAmbiguous)(*stream, programme(), line.time);
    } catch (CTagException* exception) {
        std::unique_ptr<CTagException> const malformed(exception);
        return false;
    }
    return true;
}
