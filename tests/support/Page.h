#pragma once

#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

/** A page of docs/, for tests that hold it to what it says. */
class Page {
public:
    explicit Page(std::string const& path) {
        std::ifstream file(path, std::ios::binary);
        mText.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
        if (mText.empty()) {
            throw std::runtime_error("cannot read " + path);
        }
    }

    /** What stands under a heading, up to the next one. */
    std::string section(std::string const& heading) const {
        std::size_t const start = mText.find("\n## " + heading + "\n");
        if (start == std::string::npos) {
            throw std::runtime_error("no section " + heading);
        }
        return mText.substr(start, mText.find("\n## ", start + 1) - start);
    }

    /** The first block of a section that opens with this fence line. */
    std::string block(std::string const& heading, std::string const& fence) const {
        std::string const text = section(heading);
        std::size_t const start = text.find("\n" + fence + "\n") + fence.size() + 2;
        return text.substr(start, text.find("\n```", start) + 1 - start);
    }

    /** The cells of a section's table rows, without the blanks and backquotes around them. */
    std::vector<std::vector<std::string>> rows(std::string const& heading) const {
        std::istringstream lines(section(heading));
        std::vector<std::vector<std::string>> found;
        for (std::string line; std::getline(lines, line);) {
            if (line.rfind("| ", 0) == 0) {
                found.push_back(cells(line));
            }
        }
        found.erase(found.begin());
        return found;
    }

private:
    static std::vector<std::string> cells(std::string const& line) {
        std::istringstream parts(line.substr(1));
        std::vector<std::string> found;
        for (std::string part; std::getline(parts, part, '|');) {
            std::size_t const first = part.find_first_not_of(" `");
            std::size_t const last = part.find_last_not_of(" `");
            found.push_back(first == std::string::npos ? "" : part.substr(first, last + 1 - first));
        }
        return found;
    }

    std::string mText;
};
