#pragma once

#include <json/value.h>
#include <string_view>

/**
 * Reads a JSON text that came over the bus; comments in it are not kept. Any thread.
 *
 * False, and `value` null, if it is not JSON or is nested deeper than the reader takes. No text is
 * too long. Nothing is thrown for any text.
 */
bool parseJson(std::string_view text, Json::Value& value);
