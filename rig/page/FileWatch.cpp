// The service's files, followed on a thread of their own.
//
// The system tells which folder changed; then all is looked at anew, as one piece of work of the
// service changes several files. A list that is being rewritten is read again when its writer has
// closed it, which is told too. Between two looks passes REST at least, so that a service that
// writes a thousand times a second costs one look and not a thousand.
#include "rig/page/FileWatch.h"

#include "rig/page/TagFiles.h"

#include <array>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int REST = 100;
constexpr std::size_t CHUNK = 65536;
constexpr std::size_t LONGEST_LINE = 4000;
/** Of a log that is there already, only its end is shown. */
constexpr std::uint64_t LOG_TAIL = 32768;
constexpr std::uint32_t CHANGES =
    IN_CLOSE_WRITE | IN_MODIFY | IN_CREATE | IN_MOVED_TO | IN_DELETE | IN_MOVED_FROM;

std::string folderOf(std::string const& path) {
    auto const parent = std::filesystem::path(path).parent_path().string();
    return parent.empty() ? "." : parent;
}

int checked(int descriptor, char const* what) {
    if (descriptor == -1) {
        throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
    }
    return descriptor;
}

/** What cannot be read; the page goes on showing what was there before. */
std::string faultOf(bool waitingIsWhole, bool recordIsWhole) {
    if (!waitingIsWhole) {
        return "Tags.xml or AmbigTag.xml cannot be read: what is shown is from before.";
    }
    return recordIsWhole ? "" : "TaggedInfo.xml cannot be read: what is shown is from before.";
}

} // namespace

FileWatch::FileWatch(std::string configuration, std::string log, Board& board)
    : mConfiguration(std::move(configuration)), mLog(std::move(log)), mBoard(board),
      mWake(checked(eventfd(0, EFD_CLOEXEC), "no eventfd")),
      mNotify(checked(inotify_init1(IN_CLOEXEC | IN_NONBLOCK), "no inotify")) {
    mThread = std::thread(&FileWatch::run, this);
}

FileWatch::~FileWatch() {
    eventfd_write(mWake, 1);
    mThread.join();
    close(mNotify);
    close(mWake);
}

Json::Value FileWatch::rows(std::string const& list, unsigned int from, unsigned int count) const {
    MutexLock const lock(mMutex);
    Json::Value const& all = list == "record" ? mRecord : mWaiting;
    Json::Value part;
    part["total"] = all.size();
    part["from"] = from;
    part["rows"] = Json::arrayValue;
    for (unsigned int i = from; i < all.size() && i - from < count; ++i) {
        part["rows"].append(all[i]);
    }
    return part;
}

void FileWatch::run() {
    do {
        watchFolders();
        readLists();
        readLog();
    } while (wait());
}

void FileWatch::watchFolders() {
    mStorage = TagFiles::storageIn(mConfiguration);
    for (auto const& folder : {folderOf(mConfiguration), folderOf(mLog), mStorage}) {
        inotify_add_watch(mNotify, folder.c_str(), CHANGES);
    }
}

void FileWatch::readLists() {
    Json::Value waiting = TagFiles::waiting(mStorage);
    Json::Value record = TagFiles::record(mStorage);
    Json::Value lengths;
    {
        MutexLock const lock(mMutex);
        lengths["unreadable"] = faultOf(!waiting.isNull(), !record.isNull());
        bool const newWaiting = !waiting.isNull() && waiting != mWaiting;
        bool const newRecord = !record.isNull() && record != mRecord;
        if (newWaiting) {
            mWaiting.swap(waiting);
        }
        if (newRecord) {
            mRecord.swap(record);
        }
        mVersion += newWaiting || newRecord ? 1 : 0;
        lengths["version"] = mVersion;
        lengths["waiting"] = mWaiting.size();
        lengths["record"] = mRecord.size();
    }
    mBoard.set("files", lengths);
}

void FileWatch::readLog() {
    int const file = open(mLog.c_str(), O_RDONLY | O_CLOEXEC);
    if (file == -1) {
        return;
    }
    struct stat status {};
    fstat(file, &status);
    auto const size = static_cast<std::uint64_t>(status.st_size);
    bool const isFirst = mLogInode == 0;
    if (status.st_ino != mLogInode || size < mLogPosition) {
        mLogInode = status.st_ino;
        mLogPosition = isFirst && size > LOG_TAIL ? size - LOG_TAIL : 0;
        mHalfLine.clear();
    }
    std::array<char, CHUNK> bytes; // NOLINT: filled by pread
    for (;;) {
        ssize_t const count =
            pread(file, bytes.data(), bytes.size(), static_cast<off_t>(mLogPosition));
        if (count <= 0) {
            break;
        }
        mLogPosition += static_cast<std::uint64_t>(count);
        takeLines({bytes.data(), static_cast<std::size_t>(count)});
    }
    close(file);
}

void FileWatch::takeLines(std::string const& bytes) {
    mHalfLine += bytes;
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = mHalfLine.find('\n', begin)) != std::string::npos;
         begin = end + 1) {
        Json::Value entry;
        entry["line"] = mHalfLine.substr(begin, std::min(end - begin, LONGEST_LINE));
        mBoard.append("log", std::move(entry));
    }
    mHalfLine.erase(0, begin);
}

bool FileWatch::wait() const {
    std::array<pollfd, 2> waited{{{mNotify, POLLIN, 0}, {mWake, POLLIN, 0}}};
    poll(waited.data(), waited.size(), -1);
    pollfd rest{mWake, POLLIN, 0};
    if (waited[1].revents != 0 || poll(&rest, 1, REST) > 0) {
        return false;
    }
    std::array<char, CHUNK> events; // NOLINT: filled by read
    while (read(mNotify, events.data(), events.size()) > 0) {
    }
    return true;
}
