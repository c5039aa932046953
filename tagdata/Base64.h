#pragma once

#include <string>

/** Base64 with the standard alphabet, "=" padding and no line breaks (RFC 4648). */
class Base64 {
public:
    Base64();
    virtual ~Base64();

    /** The bytes as text; the bytes are only read. */
    std::string encode(unsigned char const* bytes, unsigned int count) const;

    /**
     * The bytes of a text, up to the first "=" or other character outside the alphabet. Never
     * fails: a single character that is left over gives nothing.
     */
    std::string decode(std::string const& text) const;

private:
    std::string mAlphabet;
};
