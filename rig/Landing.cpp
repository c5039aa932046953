#include "rig/Landing.h"

#include <cstdio>
#include <fstream>

namespace fs = std::filesystem;

namespace {

fs::path numbered(fs::path const& folder, int number, char const* ending) {
    char name[16];
    std::snprintf(name, sizeof name, "%04d", number);
    return folder / (std::string(name) + ending);
}

} // namespace

Landing::Landing(std::string const& mountPoint) : mFolder(fs::path(mountPoint) / FOLDER) {}

std::string Landing::land(std::string const& text, bool taken) {
    std::error_code ignored;
    fs::create_directories(mFolder, ignored);
    fs::path const path = nextFile(taken);
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    return file ? path.string() : "";
}

fs::path Landing::nextFile(bool taken) {
    do {
        ++mNumber;
    } while (fs::exists(numbered(mFolder, mNumber, ".plist"))
             || fs::exists(numbered(mFolder, mNumber, ".refused")));
    return numbered(mFolder, mNumber, taken ? ".plist" : ".refused");
}
