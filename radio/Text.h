#pragma once

#include <string>
#include <string_view>

/** The longest text of a field, in bytes. What a station sends has a few hundred at most. */
constexpr std::size_t MAX_FIELD_BYTES = 4096;

/**
 * What a receiver handed out, as a text that every file and message can hold: valid UTF-8 without
 * control characters, at most MAX_FIELD_BYTES long, without blanks of any script around it.
 *
 * Bytes that are no UTF-8 become U+FFFD, one for each longest beginning of a character; control
 * characters become blanks, because XML has no way to write them.
 */
std::string cleanText(std::string_view bytes);

/** Whether two clean texts are the same but for the case of Latin letters. */
bool sameWords(std::string_view one, std::string_view other);

/** Whether a clean text says anything: not empty, and not what a receiver prints for "none". */
bool saysSomething(std::string_view text);

bool isDigits(std::string_view text);
