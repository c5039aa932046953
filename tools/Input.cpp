#include "tools/Input.h"

#include "tools/Failures.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

namespace {

constexpr char STANDARD_INPUT[] = "-";

} // namespace

std::string readAll(std::istream& stream) {
    std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (stream.bad()) {
        throw Failure("standard input cannot be read");
    }
    return text;
}

std::string readFile(std::string const& path) {
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    // A folder opens well and fails at the first read.
    if (!file || file.peek() == std::ifstream::traits_type::eof()) {
        if (errno != 0) {
            throw Failure("cannot read " + path + ": " + std::strerror(errno));
        }
    }
    file.clear();
    return readAll(file);
}

std::string readSource(std::string const& source, std::istream& standardInput) {
    return source == STANDARD_INPUT ? readAll(standardInput) : readFile(source);
}

std::string sourceName(std::string const& source) {
    return source == STANDARD_INPUT ? "standard input" : source;
}
