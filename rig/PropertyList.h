#pragma once

#include <string>

/**
 * Whether a text is what an iPod's sync software could read: a well-formed XML document whose root
 * is "plist" with a "dict" in it. Nothing outside the text is opened.
 *
 * @param fault says what is wrong, if anything is
 */
bool isPropertyList(std::string const& text, std::string& fault);
