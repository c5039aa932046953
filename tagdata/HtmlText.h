#pragma once

#include <string>
#include <string_view>

/** Appends what CTag::HTMLEncode makes of a value. */
void appendEncoded(std::string& text, std::string_view value);
