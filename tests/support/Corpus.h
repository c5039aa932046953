#pragma once

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

/**
 * A file of texts with what they read as, one a line: the text, a tab, what it reads as. A
 * backslash and what is not printable stand in both as \xNN.
 */
namespace corpus {

inline std::string escaped(std::string const& text) {
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string line;
    for (char const character : text) {
        auto const byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte < 0x7F && byte != '\\') {
            line += character;
        } else {
            line += std::string("\\x") + DIGITS[byte / 16] + DIGITS[byte % 16];
        }
    }
    return line;
}

inline std::string unescaped(std::string const& line) {
    constexpr std::size_t LENGTH = 4;
    std::string text;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] != '\\') {
            text += line[i];
            continue;
        }
        text += static_cast<char>(std::stoul(line.substr(i + 2, 2), nullptr, 16));
        i += LENGTH - 1;
    }
    return text;
}

struct Entry {
    std::string text;
    std::string reads;
};

/** All entries of a file in tests/fixtures. */
inline std::vector<Entry> load(std::string const& path) {
    std::ifstream file(path);
    std::vector<Entry> entries;
    for (std::string line; std::getline(file, line);) {
        std::size_t const tab = line.find('\t');
        entries.push_back({unescaped(line.substr(0, tab)), unescaped(line.substr(tab + 1))});
    }
    if (entries.empty()) {
        throw std::runtime_error("no entries in " + path);
    }
    return entries;
}

} // namespace corpus
