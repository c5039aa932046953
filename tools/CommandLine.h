#pragma once

#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
}
struct Console;

/**
 * Runs one command.
 * @param words the command line without the program's name
 * @return the exit status, see ExitStatus
 */
int runCommandLine(std::vector<std::string> const& words, Console console);

/** Every command with all its options: what the parser obeys and completions are made from. */
std::unique_ptr<CLI::App> commandTree(Console& console);
