#pragma once

#include <iosfwd>

/** Where a command reads and writes. */
struct Console {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
};

/** The name that stands before a message to the user. */
constexpr char PROGRAM[] = "songlatchctl";
