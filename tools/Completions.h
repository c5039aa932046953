#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

/** The shells that completions are made for. */
std::vector<std::string> completedShells();

/**
 * What a shell has to read so that it completes the words of the program.
 * @param tree the program with all its commands
 * @param shell one of completedShells()
 */
std::string completionsFor(CLI::App& tree, std::string const& shell);
