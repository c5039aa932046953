#pragma once

#include <string>
#include <string_view>

// Texts that any XML reader gives back as they were.

/**
 * The text less what XML 1.0 cannot hold: bytes that are no UTF-8, control characters but tab, line
 * feed and carriage return, surrogates, U+FFFE and U+FFFF.
 */
std::string xmlHoldable(std::string_view text);

/** A holdable text as the value of an attribute in double quotes or the content of an element. */
std::string xmlEncoded(std::string_view text);
