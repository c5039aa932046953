#pragma once

#include "radio/Record.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Poco {
class RegularExpression;
}

/**
 * Stores "OWNER ID", parted at the first blank. One word alone is the owner if it looks like a web
 * address, and else the id.
 */
void storeFileIdentifier(Record& record, std::string_view text);

/** Whether a text looks like the address of a page. */
bool isWebAddress(std::string_view text);

/** How a station's unique file identifiers become iTunes song ids. */
class SongIdRule {
public:
    /** Ids that are all digits are song ids. */
    SongIdRule();
    /**
     * The pattern says what is the song id in an id: its first group, or all of it where it has no
     * group. @throws std::invalid_argument if it is no regular expression
     */
    explicit SongIdRule(std::string const& pattern);
    ~SongIdRule();

    /** The song id, none if there is none or "tagRequest" could not carry it. */
    std::optional<int> songId(std::string const& fileId) const;

private:
    std::unique_ptr<Poco::RegularExpression> mPattern;
};

/** The number that digits stand for, none if it is more than 32 bits with a sign hold. */
std::optional<int> numberOfDigits(std::string const& text);
