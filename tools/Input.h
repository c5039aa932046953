#pragma once

#include <iosfwd>
#include <string>

/** Everything up to the end of the stream. @throws Failure if it cannot be read */
std::string readAll(std::istream& stream);

/** The bytes of a file. @throws Failure if it cannot be read */
std::string readFile(std::string const& path);
