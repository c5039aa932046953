#pragma once

#include "rig/ReportStream.h"
#include "support/TempDir.h"

#include <fcntl.h>
#include <json/json.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

/** A report stream whose lines the test reads. */
class ReportLines {
public:
    ~ReportLines() { close(mDescriptor); }
    ReportLines() = default;
    ReportLines(ReportLines const&) = delete;
    ReportLines& operator=(ReportLines const&) = delete;

    ReportStream& stream() { return mStream; }

    /** The line of that number as it was written, with its line feed. */
    std::string text(std::size_t index) const { return texts().at(index) + "\n"; }

    std::vector<Json::Value> all() const {
        std::vector<Json::Value> values;
        for (auto const& line : texts()) {
            Json::Value value;
            std::istringstream(line) >> value;
            values.push_back(value);
        }
        return values;
    }

    Json::Value last() const { return all().back(); }

    /** The events in their order. */
    std::vector<std::string> events() const {
        std::vector<std::string> names;
        for (auto const& line : all()) {
            names.push_back(line["event"].asString());
        }
        return names;
    }

private:
    std::vector<std::string> texts() const {
        std::istringstream all(mFolder.read("reports"));
        std::vector<std::string> lines;
        for (std::string line; std::getline(all, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    TempDir mFolder;
    int mDescriptor =
        open(mFolder.path("reports").c_str(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
    ReportStream mStream{mDescriptor};
};
