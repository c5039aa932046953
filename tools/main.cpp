#include "tools/Commands.h"
#include "tools/Console.h"

#include <iostream>

int main(int argc, char** argv) {
    return runCommandLine({argv + 1, argv + argc}, {std::cin, std::cout, std::cerr});
}
