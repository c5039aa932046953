#include "bus/Report.h"

#include <cstdarg>
#include <cstdio>

void report(char const* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
    std::fflush(stdout);
}
