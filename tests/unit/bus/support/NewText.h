#pragma once

#include <cstring>

/** A text as the records own it: an array made with new. */
inline char* newText(char const* text) {
    std::size_t const size = std::strlen(text) + 1;
    return static_cast<char*>(std::memcpy(new char[size], text, size));
}
