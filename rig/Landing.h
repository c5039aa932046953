#pragma once

#include <filesystem>
#include <string>

/** The folder below a mount point where the texts for iTunes land, one numbered file for each. */
class Landing {
public:
    static constexpr char FOLDER[] = "Tagging";

    explicit Landing(std::string const& mountPoint);

    /**
     * Writes a text into a new file, "0001.plist" if the device takes it and "0001.refused" if not.
     * @return the path of the file; empty if it could not be written
     */
    std::string land(std::string const& text, bool taken);

private:
    std::filesystem::path nextFile(bool taken);

    std::filesystem::path mFolder;
    int mNumber = 0;
};
