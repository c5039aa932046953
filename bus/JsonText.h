#pragma once

#include <json/value.h>
#include <string_view>

/** How many arrays and objects may stand inside each other. */
constexpr unsigned int MAX_JSON_DEPTH = 1000;

/**
 * Reads a JSON text that came over the bus; comments in it are not kept. Any thread.
 *
 * False, and `value` null, if it is not JSON or is nested deeper than MAX_JSON_DEPTH. What
 * stands behind the value is not looked at. No text is too long. Nothing is thrown for any text.
 */
bool parseJson(std::string_view text, Json::Value& value);
