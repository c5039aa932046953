#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/** One attribute as a SAX2 callback gets it: five pointers, of which three matter here. */
class SaxAttribute {
public:
    explicit SaxAttribute(unsigned char const** tuple)
        : name(reinterpret_cast<char const*>(tuple[LOCAL_NAME])), mTuple(tuple) {}

    static constexpr std::ptrdiff_t POINTERS = 5;

    /** The local name. Prefix and URI are never looked at. */
    char const* name;

    /** A copy of the value; the parser's own bytes are not terminated. */
    std::string value() const { return {mTuple[VALUE_START], mTuple[VALUE_END]}; }

    bool is(std::string_view wanted) const { return wanted == name; }

private:
    enum { LOCAL_NAME = 0, VALUE_START = 3, VALUE_END = 4 };

    unsigned char const** mTuple;
};

/** The attributes of one element, to walk over. */
class SaxAttributes {
public:
    SaxAttributes(unsigned char const** attributes, int count)
        : mFirst(attributes), mCount(count) {}

    class Iterator {
    public:
        explicit Iterator(unsigned char const** tuple) : mTuple(tuple) {}
        SaxAttribute operator*() const { return SaxAttribute(mTuple); }
        Iterator& operator++() {
            mTuple += SaxAttribute::POINTERS;
            return *this;
        }
        bool operator!=(Iterator const& other) const { return mTuple != other.mTuple; }

    private:
        unsigned char const** mTuple;
    };

    Iterator begin() const { return Iterator(mFirst); }
    Iterator end() const { return Iterator(mFirst + mCount * SaxAttribute::POINTERS); }

private:
    unsigned char const** mFirst;
    int mCount;
};

/** Whether an element has this local name. */
inline bool isElement(unsigned char const* localname, std::string_view wanted) {
    return wanted == reinterpret_cast<char const*>(localname);
}
