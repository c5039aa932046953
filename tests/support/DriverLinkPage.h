#pragma once

#include "support/Bytes.h"
#include "support/Page.h"

#include <map>
#include <sstream>
#include <string>

/** docs/driver-link.md, whose examples stand in indented blocks: "request   01 00 00 00   what". */
class DriverLinkPage : public Page {
public:
    DriverLinkPage() : Page(SONGLATCH_DOCS "/driver-link.md") {}

    /** The bytes of a section's example by the label they stand behind; "" for those without. */
    std::map<std::string, std::string> example(std::string const& heading) const {
        std::istringstream lines(section(heading));
        std::map<std::string, std::string> bytes;
        std::string label;
        for (std::string line; std::getline(lines, line);) {
            if (line.rfind(INDENT, 0) == 0) {
                line.erase(0, INDENT.size());
                takeLabel(line, label);
                bytes[label] += hex(pairsOf(line));
            }
        }
        return bytes;
    }

private:
    static inline std::string const INDENT = "    ";

    /** A label holds for the lines below it, too. */
    static void takeLabel(std::string& line, std::string& label) {
        for (std::string const known : {"request", "reply"}) {
            if (line.rfind(known + " ", 0) == 0) {
                label = known;
                line.erase(0, known.size());
            }
        }
        line.erase(0, line.find_first_not_of(' '));
    }

    /** The pairs of digits at the front of a line; three blanks end them, or any other word. */
    static std::string pairsOf(std::string const& line) {
        std::istringstream words(line.substr(0, line.find("   ")));
        std::string pairs;
        for (std::string word; words >> word && isPair(word);) {
            pairs += word;
        }
        return pairs;
    }

    static bool isPair(std::string const& word) {
        return word.size() == 2 && word.find_first_not_of("0123456789abcdef") == std::string::npos;
    }
};
