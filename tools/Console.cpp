#include "tools/Console.h"

#include <cstdlib>
#include <iostream>
#include <string_view>
#include <unistd.h>

namespace {

std::string_view environment(char const* name) {
    char const* const value = std::getenv(name);
    return value == nullptr ? std::string_view() : value;
}

bool wantsColour(int descriptor) {
    return isatty(descriptor) != 0 && environment("NO_COLOR").empty()
           && environment("TERM") != "dumb";
}

} // namespace

Console processConsole() {
    return {std::cin, std::cout, std::cerr, isatty(STDIN_FILENO) != 0, wantsColour(STDOUT_FILENO)};
}
