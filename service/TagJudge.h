#pragma once

#include "tagdata/CAmbigTag.h"

#include <json/value.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

/** A request that cannot be taken; the text names the field. */
class Refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** What a "tagRequest" asks for. */
struct JudgedTags {
    std::vector<CAmbigTag> tags;
    int deviceId = -1;
};

/** What a "checkTag" asks for. */
struct JudgedCheck {
    std::string name;   ///< as given
    std::string artist; ///< as given
    std::string songId; ///< as given
    int deviceId = -1;

    /** The song as it is kept. */
    std::tuple<std::string, std::string, std::string> identity() const;
};

/** The longest text that is taken. */
constexpr std::size_t MOST_TEXT_BYTES = std::size_t{1} << 20U;

/**
 * Reads a text from the bus as JSON.
 * @throws Refusal if it is too long, or holds so many values that reading it takes too much memory
 */
Json::Value judgeText(std::string_view text);

/** Texts without what XML cannot hold; numbers as digits. @throws Refusal */
JudgedTags judgeTags(Json::Value const& params);
/** @throws Refusal */
JudgedCheck judgeCheck(Json::Value const& params);
