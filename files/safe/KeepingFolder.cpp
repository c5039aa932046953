// The order of writes is the argument for everything that safe keeping promises, so it stands here,
// in one place.
//
// One file: its new text goes into a file beside it, that file is flushed, takes the old one's
// name, and the folder is flushed. Before the rename the name means the old file, after it the new
// one, whose bytes were flushed before; so no cut finds half a file. The flush of the folder makes
// the change of the name survive, so it comes before anybody is told.
//
// Several files: all new texts are written beside and flushed, then a decision, an empty file, is
// made, and the folder is flushed, which makes all those names and the decision survive together.
// Until the decision is there the old files count. From then on the new ones do: the renames are
// repeated by whoever finds the decision, and the decision goes after the last of them. The names
// used here differ from those for one file, so that no decision, however late it disappears, can
// complete what another change had only begun.
#include "files/safe/KeepingFolder.h"

#include "FileNames.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char LOCK[] = ".Songlatch.lock";
constexpr char DECISION[] = ".Songlatch.decided";
constexpr char const* FILES[] = {TAG_FILE, AMBIG_TAG_FILE, TAGGED_INFO_FILE};

constexpr mode_t MODE = 0666;
constexpr std::size_t KEPT_ASIDE = 5;
constexpr char DAMAGED[] = ".damaged-";

std::string single(std::string const& name) {
    return "." + name + ".new";
}

std::string together(std::string const& name) {
    return "." + name + ".next";
}

int resultOf(int result) {
    return result == -1 ? errno : 0;
}

/** As resultOf(), but what is not there is no failure. */
int resultUnlessMissing(int result) {
    return result == -1 && errno != ENOENT ? errno : 0;
}

int writeAll(int fd, std::string const& text) {
    std::size_t written = 0;
    while (written < text.size()) {
        ssize_t const count = write(fd, text.data() + written, text.size() - written);
        if (count == -1 && errno != EINTR) {
            return errno;
        }
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return 0;
}

std::string stamp() {
    std::time_t const now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[32] = "";
    std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &utc);
    return text;
}

/** A name that is no file's, as a FIFO's, keeps nobody waiting. */
int openWithoutWaiting(std::string const& path) {
    return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
}

bool isRegular(std::string const& path) {
    struct stat file {};
    return stat(path.c_str(), &file) == 0 && S_ISREG(file.st_mode);
}

bool exists(std::string const& path) {
    struct stat ignored {};
    return lstat(path.c_str(), &ignored) == 0;
}

} // namespace

KeepingFolder::KeepingFolder(std::string path) : mPath(std::move(path)) {}

KeepingFolder::~KeepingFolder() {
    if (mLock != -1) {
        close(mLock);
    }
}

std::string KeepingFolder::at(std::string const& name) const {
    return mPath + name;
}

int KeepingFolder::lock() {
    if (mLock != -1) {
        return 0;
    }
    int const fd = ::open(at(LOCK).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, MODE);
    if (fd == -1) {
        return errno;
    }
    int const error = resultOf(flock(fd, LOCK_EX | LOCK_NB));
    if (error != 0) {
        close(fd);
        return error;
    }
    mLock = fd;
    return 0;
}

int KeepingFolder::recover() {
    if (exists(at(DECISION))) {
        return complete();
    }
    for (char const* name : FILES) {
        unlink(at(single(name)).c_str());
        unlink(at(together(name)).c_str());
    }
    return 0;
}

int KeepingFolder::finish() {
    return exists(at(DECISION)) ? complete() : 0;
}

int KeepingFolder::complete() {
    for (char const* name : FILES) {
        int const error = resultUnlessMissing(rename(at(together(name)).c_str(), at(name).c_str()));
        if (error != 0) {
            return error;
        }
    }
    int const error = resultUnlessMissing(unlink(at(DECISION).c_str()));
    return error != 0 ? error : flushNames();
}

int KeepingFolder::flushNames() const {
    int const fd = ::open(mPath.empty() ? "." : mPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd == -1) {
        return errno;
    }
    int const error = resultOf(fsync(fd));
    close(fd);
    return error;
}

int KeepingFolder::writeBeside(std::string const& temporary, std::string const& text) const {
    std::string const path = at(temporary);
    int error = resultUnlessMissing(unlink(path.c_str()));
    if (error != 0) {
        return error;
    }
    int const fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, MODE);
    if (fd == -1) {
        return errno;
    }
    error = writeAll(fd, text);
    if (error == 0) {
        error = resultOf(fsync(fd));
    }
    int const closing = resultOf(close(fd));
    error = error != 0 ? error : closing;
    if (error != 0) {
        unlink(path.c_str());
    }
    return error;
}

int KeepingFolder::commit(std::vector<Change> const& changes) {
    if (changes.empty()) {
        return 0;
    }
    return changes.size() == 1 ? replaceOne(changes.front()) : replaceAll(changes);
}

int KeepingFolder::replaceOne(Change const& change) const {
    std::string const temporary = single(change.first);
    int error = writeBeside(temporary, change.second);
    if (error != 0) {
        return error;
    }
    error = resultOf(rename(at(temporary).c_str(), at(change.first).c_str()));
    if (error != 0) {
        unlink(at(temporary).c_str());
        return error;
    }
    return flushNames();
}

int KeepingFolder::replaceAll(std::vector<Change> const& changes) {
    int error = 0;
    for (Change const& change : changes) {
        error = error != 0 ? error : writeBeside(together(change.first), change.second);
    }
    if (error == 0) {
        error = writeBeside(DECISION, "");
    }
    if (error == 0) {
        error = flushNames();
    }
    if (error != 0) {
        unlink(at(DECISION).c_str());
        for (Change const& change : changes) {
            unlink(at(together(change.first)).c_str());
        }
        return error;
    }
    // Decided: should a rename fail now, the next piece of work completes it.
    complete();
    return 0;
}

KeepingFolder::Content KeepingFolder::open(std::string const& name) const {
    Content content;
    content.fd = openWithoutWaiting(at(name));
    if (content.fd == -1 && errno == EWOULDBLOCK && isRegular(at(name))) {
        // Somebody changes the file under a lease, which the system ends soon if they do not.
        content.fd = ::open(at(name).c_str(), O_RDONLY | O_CLOEXEC);
    }
    if (content.fd == -1) {
        content.missing = errno == ENOENT;
        content.unusable = errno == EACCES || errno == ELOOP || errno == ENXIO || errno == EPERM;
        content.error = content.missing || content.unusable ? 0 : errno;
        return content;
    }
    struct stat file {};
    if (fstat(content.fd, &file) == -1) {
        content.error = errno;
    } else {
        content.unusable = !S_ISREG(file.st_mode);
    }
    if (content.error != 0 || content.unusable) {
        close(content.fd);
        content.fd = -1;
    }
    return content;
}

int KeepingFolder::setAside(std::string const& name) {
    std::vector<Aside> others = asideOf(name);
    Aside next{stamp(), 0};
    if (!others.empty() && others.back().first >= next.first) {
        next = {others.back().first, others.back().second + 1};
    }
    std::string const path = at(name) + nameOf(next);
    int error = resultOf(link(at(name).c_str(), path.c_str()));
    if (error == EPERM || error == EACCES || error == EOPNOTSUPP) {
        // What cannot have a second name, as a folder, is moved.
        error = resultOf(rename(at(name).c_str(), path.c_str()));
    }
    if (error != 0) {
        return error;
    }
    others.push_back(next);
    for (std::size_t index = 0; index + KEPT_ASIDE < others.size(); ++index) {
        // A folder that is not empty stays: it holds something that nobody here has written.
        static_cast<void>(remove((at(name) + nameOf(others[index])).c_str()));
    }
    return 0;
}

std::string KeepingFolder::nameOf(Aside const& aside) {
    return DAMAGED + aside.first + (aside.second == 0 ? "" : "-" + std::to_string(aside.second));
}

std::vector<KeepingFolder::Aside> KeepingFolder::asideOf(std::string const& name) const {
    constexpr std::size_t STAMP = sizeof "YYYYMMDDTHHMMSSZ" - 1;
    std::vector<Aside> aside;
    DIR* const folder = opendir(mPath.empty() ? "." : mPath.c_str());
    if (folder == nullptr) {
        return aside;
    }
    std::string const prefix = name + DAMAGED;
    while (dirent const* const entry = readdir(folder)) {
        std::string const found = entry->d_name;
        if (found.compare(0, prefix.size(), prefix) != 0 || found.size() < prefix.size() + STAMP) {
            continue;
        }
        std::string const number = found.substr(prefix.size() + STAMP);
        aside.emplace_back(found.substr(prefix.size(), STAMP),
                           number.empty() ? 0 : std::atoi(number.c_str() + 1));
    }
    closedir(folder);
    std::sort(aside.begin(), aside.end());
    return aside;
}
