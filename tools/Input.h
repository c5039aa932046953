#pragma once

#include <iosfwd>
#include <string>

/** Everything up to the end of the stream. @throws Failure if it cannot be read */
std::string readAll(std::istream& stream);

/** The bytes of a file. @throws Failure if it cannot be read */
std::string readFile(std::string const& path);

/** The bytes of a file, or of standard input for "-". @throws Failure if they cannot be read */
std::string readSource(std::string const& source, std::istream& standardInput);

/** What a message calls such a source. */
std::string sourceName(std::string const& source);
