#pragma once

#include <array>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

/** A word that a shell takes as it is. */
inline std::string quoted(std::string const& word) {
    std::string text = "'";
    for (char const letter : word) {
        text += letter == '\'' ? "'\\''" : std::string(1, letter);
    }
    return text + "'";
}

/**
 * What a program prints on both its outputs, and behind it how it failed, if it did. It is ended
 * after a minute.
 */
inline std::string outputOf(std::vector<std::string> const& words) {
    std::string command = "timeout 60";
    for (std::string const& word : words) {
        command += " " + quoted(word);
    }
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen((command + " 2>&1").c_str(), "r"), pclose);
    std::string text;
    std::array<char, 4096> buffer{};
    while (std::size_t const got = fread(buffer.data(), 1, buffer.size(), pipe.get())) {
        text.append(buffer.data(), got);
    }
    constexpr int ENDED_BY_TIMEOUT = 124 << 8;
    int const status = pclose(pipe.release());
    if (status == ENDED_BY_TIMEOUT) {
        return text + "no end within a minute: " + command;
    }
    return status == 0 ? text : text + "status " + std::to_string(status) + " of " + command;
}
