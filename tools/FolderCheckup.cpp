// "doctor", what is on the disk. The configuration is read once and says where the files are; they
// are read by the service's own handlers (DocumentReader), so that what is found is what the
// service will find. Everything ends as a finding with its cure, in the order in which a cure helps
// the next: configuration, files, disk. Nothing is written.
#include "files/CConfigInfo.h"
#include "files/DocumentReader.h"
#include "files/FileNames.h"
#include "tools/Checkup.h"
#include "tools/Failures.h"
#include "tools/Input.h"
#include "tools/ServiceFiles.h"
#include "tools/Text.h"

#include <filesystem>
#include <fstream>
#include <sys/statvfs.h>

namespace {

constexpr char CONFIGURATION[] = "configuration";
constexpr char FILES[] = "files";
constexpr char DISK[] = "disk";

constexpr char MEND[] = "Mend it there: the service ends at the next piece of work that reads it.";

Finding good(char const* area, std::string const& text) {
    return {area, Health::Good, text, ""};
}

/** What stands behind "-config=" on the command line of a running service. */
std::string configurationOf(unsigned int process) {
    constexpr char OPTION[] = "-config=";
    std::ifstream file("/proc/" + std::to_string(process) + "/cmdline", std::ios::binary);
    std::string path = DEFAULT_CONFIGURATION;
    for (std::string word; std::getline(file, word, '\0');) {
        if (word.rfind(OPTION, 0) == 0) {
            path = word.substr(sizeof OPTION - 1);
        }
    }
    return path;
}

bool isSameFile(std::string const& one, std::string const& other) {
    std::error_code error;
    return one == other || std::filesystem::equivalent(one, other, error);
}

std::string policyText(CConfigInfo const& config) {
    if (!config.multiples_enable()) {
        return "the first iPod that takes a tag";
    }
    return config.multiples_choose() == SPECIFY ? "the iPod that a request names" : "every iPod";
}

/** A tag file's finding, from the text of the file. */
template <class Document>
Finding tagFileFinding(std::string const& path, Document const& document, char const* noun) {
    if (document.fault) {
        return {FILES, Health::Bad, faultText(path, *document.fault),
                "What waits in it is lost for the service. Keep a copy, mend that place, or lay an "
                "empty file there (/usr/share/songlatch/AmbigTag.xml)."};
    }
    return good(FILES, path + " holds " + counted(document.tags->Count(), noun));
}

Finding missingFile(std::string const& path, bool isNeeded) {
    if (isNeeded) {
        return {FILES, Health::Bad,
                path + " is not there, and the service does not start without it",
                "Lay the empty one there: cp /usr/share/songlatch/AmbigTag.xml " + path};
    }
    return good(FILES, path + " is not there yet; the service makes it");
}

template <class Read>
Finding fileFinding(std::string const& path, bool isNeeded, Read read) {
    if (!std::filesystem::exists(path)) {
        return missingFile(path, isNeeded);
    }
    try {
        return read(readFile(path));
    } catch (Failure const& failure) {
        return {FILES, Health::Bad, failure.what(), "Let the service's user read and write it."};
    }
}

Finding recordFinding(std::string const& path, std::string const& text) {
    TagIdDocument const document = readTagIdDocument(text);
    if (document.fault) {
        return {
            FILES, Health::Doubtful, faultText(path, *document.fault),
            "The service goes on with the entries before that place. Titles with an ampersand or "
            "quotes do this without safeKeeping."};
    }
    return good(FILES, path + " records " + counted(document.registry->size(), "song"));
}

} // namespace

FolderCheckup::FolderCheckup(std::string configuration, unsigned int serviceProcess)
    : mPath(std::move(configuration)), mServiceProcess(serviceProcess) {
    try {
        readConfiguration();
    } catch (Failure const& failure) {
        mConfiguration = {{CONFIGURATION, Health::Bad, failure.what(),
                           "Lay one there, or name it with --config."}};
    }
}

void FolderCheckup::readConfiguration() {
    ConfigDocument const document = readConfigDocument(readFile(mPath));
    if (document.fault) {
        mConfiguration = {{CONFIGURATION, Health::Bad, faultText(mPath, *document.fault), MEND}};
        return;
    }
    CConfigInfo const& config = *document.config;
    mHasFolder = true;
    mFolder = config.localStorage().empty() ? "./" : config.localStorage();
    mLimit = config.maxTagCount();
    mConfiguration = {
        good(CONFIGURATION, mPath + ": at most "
                                + counted(static_cast<std::size_t>(mLimit > 0 ? mLimit : 0), "tag")
                                + " in " + mFolder + ", for " + policyText(config))};
    if (mLimit <= 0) {
        mConfiguration.push_back({CONFIGURATION, Health::Bad,
                                  "maxTagCount is not set, so no tag is taken at all",
                                  "Write <maxTagCount value=\"100\"/> into " + mPath + "."});
    }
    if (config.localStorage().empty()) {
        mConfiguration.push_back(
            {CONFIGURATION, Health::Doubtful,
             "localStorage is not set: the files stand in the working "
             "directory of the service",
             "Write <localStorage folder=\"/var/lib/songlatch\"/> into " + mPath + "."});
    }
    if (mServiceProcess != 0 && !isSameFile(configurationOf(mServiceProcess), mPath)) {
        mConfiguration.push_back({CONFIGURATION, Health::Doubtful,
                                  "the running service reads " + configurationOf(mServiceProcess),
                                  "Name that one with --config."});
    }
}

std::vector<Finding> FolderCheckup::files() const {
    if (!mHasFolder) {
        return {{FILES, Health::NotSeen, "the configuration does not say where they are", ""}};
    }
    if (!std::filesystem::is_directory(mFolder)) {
        return {{FILES, Health::Bad, "there is no folder " + mFolder,
                 "Make it, and give it to the user that runs the service."}};
    }
    std::string const tags = mFolder + TAG_FILE;
    std::string const candidates = mFolder + AMBIG_TAG_FILE;
    std::string const record = mFolder + TAGGED_INFO_FILE;
    return {fileFinding(tags, false,
                        [&](std::string const& text) {
                            return tagFileFinding(tags, readTagDocument(text), "tag");
                        }),
            fileFinding(candidates, true,
                        [&](std::string const& text) {
                            return tagFileFinding(candidates, readAmbigTagDocument(text),
                                                  "candidate");
                        }),
            fileFinding(record, false,
                        [&](std::string const& text) { return recordFinding(record, text); })};
}

std::vector<Finding> FolderCheckup::disk() const {
    constexpr unsigned long long LEAST = 1U << 20U;
    constexpr unsigned long long KIBIBYTE = 1U << 10U;
    struct statvfs disk {};
    if (!mHasFolder || statvfs(mFolder.c_str(), &disk) != 0) {
        return {{DISK, Health::NotSeen, "there is no folder to look at", ""}};
    }
    unsigned long long const room = static_cast<unsigned long long>(disk.f_bavail) * disk.f_frsize;
    std::string const text = mFolder + ": " + std::to_string(room / KIBIBYTE) + " KiB free";
    if ((disk.f_flag & ST_RDONLY) != 0) {
        return {{DISK, Health::Bad, mFolder + " is on a file system that is mounted read-only",
                 "Mount it for writing; the service does not report what it cannot write."}};
    }
    if (room < LEAST || (disk.f_files != 0 && disk.f_favail == 0)) {
        return {{DISK, Health::Bad, text + (disk.f_favail == 0 ? ", and no inode" : ""),
                 "Make room: on a full disk tags are lost."}};
    }
    return {good(DISK, text)};
}
