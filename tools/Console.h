#pragma once

#include <iosfwd>

/** Where a command reads and writes, and who is there. */
struct Console {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    bool canAsk = false; ///< somebody sits at the input and can be asked
    bool colour = false; ///< the output is a terminal that wants colours
};

/** The console of this process: NO_COLOR and a TERM of "dumb" keep a terminal without colours. */
Console processConsole();

/** The name that stands before a message to the user. */
constexpr char PROGRAM[] = "songlatchctl";
