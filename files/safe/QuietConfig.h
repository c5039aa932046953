#pragma once

#include <memory>
#include <string>

class CConfigInfo;

/**
 * Reads a configuration without a line in the log, as far as it is a file. Whoever only wants to
 * know in which way to work must leave no trace of the question.
 * @return null if it cannot be read or is ill-formed
 */
std::unique_ptr<CConfigInfo> readConfigQuietly(std::string const& path);
