#pragma once

#include "radio/InputReader.h"

/**
 * Reads tag streams (docs/tag-stream.md), one a line, as hexadecimal pairs with any blanks between
 * them or none. Of the two candidates of an ambiguous tag the one whose button is pressed plays.
 */
class HexReader final : public InputReader {
public:
    using InputReader::InputReader;

    /** Whether a message is pairs and nothing else, and long enough for a stream. */
    static bool isStream(std::string_view message);

    bool readLine(std::string_view line) override;
};
