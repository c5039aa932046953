#pragma once

#include <memory>
#include <string>

class CConfigInfo;

/**
 * The configuration, read without a line in the log, as far as it is a file. Whoever only wants to
 * know in which way to work must leave no trace of the question.
 *
 * Each reading reads the file, but what it says is worked out once for each text.
 */
class QuietConfig {
public:
    /** @return null if the file cannot be read or is ill-formed */
    std::shared_ptr<CConfigInfo const> read(std::string const& path);

private:
    std::string mText;
    std::shared_ptr<CConfigInfo const> mConfig; ///< what mText says
};
