#pragma once

#include <string>
#include <vector>

struct Console;

/**
 * Runs one command line of songlatchctl.
 * @param words the words behind the program's name
 * @return the exit status: 0 done, 1 failed, 2 wrong usage
 */
int runCommandLine(std::vector<std::string> const& words, Console console);
