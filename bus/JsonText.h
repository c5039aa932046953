#pragma once

#include <cstddef>
#include <json/value.h>
#include <string_view>

/** The longest JSON text that is read. A real request or answer has a few thousand bytes. */
constexpr std::size_t MAX_JSON_BYTES = std::size_t{1} << 20U;

/**
 * Reads a JSON text that came over the bus; comments in it are not kept. Any thread.
 *
 * False, and `value` null, if it is not JSON, is longer than MAX_JSON_BYTES or is nested deeper
 * than the reader takes. Nothing is thrown for any text.
 */
bool parseJson(std::string_view text, Json::Value& value);
