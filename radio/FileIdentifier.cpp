#include "radio/FileIdentifier.h"

#include "radio/Text.h"

#include <Poco/Exception.h>
#include <Poco/RegularExpression.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>

namespace {

/** Identifiers have at most 64 bytes; a pattern's work on a longer text could grow very large. */
constexpr std::size_t MAX_MATCHED_BYTES = 256;

bool beginsWith(std::string_view text, std::string_view beginning) {
    return text.size() > beginning.size() && sameWords(text.substr(0, beginning.size()), beginning);
}

} // namespace

void storeFileIdentifier(Record& record, std::string_view text) {
    std::string const words = cleanText(text);
    std::size_t const blank = words.find(' ');
    if (blank != std::string::npos) {
        record.fileOwner = words.substr(0, blank);
        record.fileId = cleanText(words.substr(blank));
    } else if (isWebAddress(words)) {
        record.fileOwner = words;
    } else {
        record.fileId = words;
    }
}

bool isWebAddress(std::string_view text) {
    constexpr std::array<std::string_view, 3> BEGINNINGS = {"http://", "https://", "www."};
    return text.find(' ') == std::string_view::npos
           && std::any_of(BEGINNINGS.begin(), BEGINNINGS.end(), [text](std::string_view beginning) {
                  return beginsWith(text, beginning);
              });
}

SongIdRule::SongIdRule() = default;

SongIdRule::SongIdRule(std::string const& pattern) {
    try {
        mPattern = std::make_unique<Poco::RegularExpression>(pattern);
    } catch (Poco::Exception const& failure) {
        throw std::invalid_argument(failure.displayText());
    }
}

SongIdRule::~SongIdRule() = default;

std::optional<int> SongIdRule::songId(std::string const& fileId) const {
    if (!mPattern) {
        return numberOfDigits(fileId);
    }
    std::string const matched = fileId.substr(0, MAX_MATCHED_BYTES);
    Poco::RegularExpression::MatchVec matches;
    try {
        if (mPattern->match(matched, 0, matches) == 0) {
            return std::nullopt;
        }
    } catch (Poco::Exception const&) {
        // It gave up: the pattern takes too long on this text.
        return std::nullopt;
    }
    auto const& match = matches[matches.size() > 1 ? 1 : 0];
    bool const isThere = match.offset != std::string::npos;
    return isThere ? numberOfDigits(matched.substr(match.offset, match.length)) : std::nullopt;
}

std::optional<int> numberOfDigits(std::string const& text) {
    int number = 0;
    bool const fits =
        isDigits(text)
        && std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc();
    return fits ? std::make_optional(number) : std::nullopt;
}
