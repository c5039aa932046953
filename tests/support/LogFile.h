#pragma once

#include "service/stdTools.h"
#include "support/TempDir.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

/**
 * A log of the test's own: while it lives, stdTools writes to a file in a temporary folder.
 *
 *     LogFile log;
 *     tools.LoadTags();
 *     EXPECT_THAT(log.lines(), ElementsAre("Message: XMLTools_LoadTags: Attempting Parse of " +
 * path));
 */
class LogFile {
public:
    LogFile() : mPathBefore(stdTools::LOGFILEPATH), mLoggingBefore(stdTools::FILELOGGING) {
        stdTools::LOGFILEPATH = mFolder.path(NAME);
        stdTools::FILELOGGING = true;
    }
    ~LogFile() {
        stdTools::LOGFILEPATH = mPathBefore;
        stdTools::FILELOGGING = mLoggingBefore;
    }
    LogFile(LogFile const&) = delete;
    LogFile& operator=(LogFile const&) = delete;

    std::string path() const { return mFolder.path(NAME); }

    /** What was logged so far, in order, without the line feeds. */
    std::vector<std::string> lines() const {
        return select([](std::string const&) { return true; });
    }

    /** The lines of one source, as in "XMLTools_LoadTags", without prefix and source. */
    std::vector<std::string> messagesOf(std::string const& source) const {
        std::string const mark = ": " + source + ": ";
        std::vector<std::string> found =
            select([&](std::string const& line) { return line.find(mark) != std::string::npos; });
        for (std::string& line : found) {
            line.erase(0, line.find(mark) + mark.size());
        }
        return found;
    }

    bool has(std::string const& line) const {
        std::vector<std::string> const all = lines();
        return std::find(all.begin(), all.end(), line) != all.end();
    }

    /** Forgets what was logged so far. */
    void clear() const { mFolder.remove(NAME); }

private:
    static constexpr char NAME[] = "Songlatching.log";

    template <class Predicate>
    std::vector<std::string> select(Predicate wanted) const {
        std::istringstream text(mFolder.read(NAME));
        std::vector<std::string> found;
        for (std::string line; std::getline(text, line);) {
            if (wanted(line)) {
                found.push_back(line);
            }
        }
        return found;
    }

    TempDir mFolder;
    std::string mPathBefore;
    bool mLoggingBefore;
};
