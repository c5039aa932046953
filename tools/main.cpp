#include "tools/CommandLine.h"
#include "tools/Console.h"

int main(int argc, char** argv) {
    return runCommandLine({argv + 1, argv + argc}, processConsole());
}
