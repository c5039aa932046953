// How a file is changed under the hands of a process that knows of no lock.
//
// The kernel gives out a lease on a file that nobody else has open, and lets whoever opens it then
// wait until the lease is given back. So the file is read, and written in place, between two of the
// other process's accesses to it and never within one. In place, as whoever waits has found the
// file already, and would go on with the old one if another took its name.
//
// Between two accesses the other process may be in the middle of a request, with the file's content
// in its memory and the file emptied. What it writes next then brings back what was taken out: that
// is for the caller to see. It loses nothing, as it knows all that the file held.
//
// A power cut in the middle of the writing would leave half of it, so the new bytes lie beside the
// file until it is flushed.
#include "tools/HeldFile.h"

#include "tools/Failures.h"
#include "tools/Input.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::chrono::seconds PATIENCE{10};
constexpr std::chrono::milliseconds PAUSE{1};

[[noreturn]] void fail(std::string const& what) {
    int const error = errno;
    throw Failure(what + ": " + std::strerror(error));
}

class Descriptor {
public:
    explicit Descriptor(int descriptor) : mDescriptor(descriptor) {}
    ~Descriptor() {
        if (mDescriptor >= 0) {
            close(mDescriptor);
        }
    }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;

    operator int() const { return mDescriptor; }

private:
    int mDescriptor;
};

/** Who waits for a lease is announced by a signal that would end the process. */
class DeafToLeases {
public:
    DeafToLeases() : mBefore(std::signal(SIGIO, SIG_IGN)) {}
    ~DeafToLeases() { std::signal(SIGIO, mBefore); }
    DeafToLeases(DeafToLeases const&) = delete;
    DeafToLeases& operator=(DeafToLeases const&) = delete;

private:
    void (*mBefore)(int);
};

std::string readFrom(int file, std::string const& path) {
    std::string bytes;
    std::array<char, 65536> buffer{};
    while (ssize_t const count =
               pread(file, buffer.data(), buffer.size(), static_cast<off_t>(bytes.size()))) {
        if (count < 0) {
            fail("cannot read " + path);
        }
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return bytes;
}

/** The file has these bytes and no others, also after a power cut. */
void writeTo(int file, std::string const& path, std::string const& bytes) {
    for (std::size_t done = 0; done < bytes.size();) {
        ssize_t const count =
            pwrite(file, bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
        if (count < 0) {
            fail("cannot write " + path);
        }
        done += static_cast<std::size_t>(count);
    }
    if (ftruncate(file, static_cast<off_t>(bytes.size())) != 0 || fsync(file) != 0) {
        fail("cannot flush " + path);
    }
}

std::string folderOf(std::string const& path) {
    std::string const folder = std::filesystem::path(path).parent_path();
    return folder.empty() ? "." : folder;
}

/** The bytes beside the file they are meant for, gone at the end of its life. */
class Beside {
public:
    Beside(std::string const& path, std::string const& bytes)
        : mPath(folderOf(path) + "/." + std::filesystem::path(path).filename().string()
                + ".songlatchctl-" + std::to_string(getpid())) {
        Descriptor const file(
            open(mPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (file < 0) {
            fail("cannot write beside " + path);
        }
        try {
            writeTo(file, mPath, bytes);
            flushFolder();
        } catch (Failure const&) {
            unlink(mPath.c_str());
            throw;
        }
    }
    ~Beside() {
        if (!mIsKept) {
            unlink(mPath.c_str());
        }
    }
    Beside(Beside const&) = delete;
    Beside& operator=(Beside const&) = delete;

    /** It may be the only whole copy now. */
    void keep() { mIsKept = true; }
    void drop() { mIsKept = false; }

private:
    void flushFolder() const {
        Descriptor const folder(open(folderOf(mPath).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (folder < 0 || fsync(folder) != 0) {
            fail("cannot flush the folder of " + mPath);
        }
    }

    std::string mPath;
    bool mIsKept = false;
};

/** Where a file really is: what lies beside it belongs there. */
std::string resolved(std::string const& path) {
    std::error_code error;
    std::filesystem::path const real = std::filesystem::canonical(path, error);
    return error ? path : real.string();
}

/** Whether the open file is still the one of that name. */
bool isNamed(int file, std::string const& path) {
    struct stat opened {};
    struct stat named {};
    return fstat(file, &opened) == 0 && stat(path.c_str(), &named) == 0
           && opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

/** @return false if somebody else has the file open */
bool takeLease(int file, std::string const& path) {
    if (fcntl(file, F_SETLEASE, F_WRLCK) == 0) {
        return true;
    }
    if (errno == EACCES) {
        fail("cannot keep others away from " + path
             + " (run this as root or as the service's user)");
    }
    if (errno != EAGAIN) {
        fail("the file system cannot keep others away from " + path
             + "; stop the service and use an editor");
    }
    return false;
}

/** Changes a file that is leased. The lease ends when the file is closed. */
bool changeIn(int file, std::string const& path, HeldFile::Change const& change) {
    std::string const before = readFrom(file, path);
    std::string const after = change(before);
    if (after == before) {
        return false;
    }
    Beside beside(path, after);
    beside.keep();
    writeTo(file, path, after);
    beside.drop();
    return true;
}

} // namespace

HeldFile::HeldFile(std::string path, std::function<void()> quiet)
    : mPath(resolved(path)), mQuiet(std::move(quiet)) {}

std::string HeldFile::read() const {
    return readFile(mPath);
}

bool HeldFile::change(Change const& change) {
    DeafToLeases const deaf;
    auto const end = std::chrono::steady_clock::now() + PATIENCE;
    while (std::chrono::steady_clock::now() < end) {
        {
            Descriptor const file(open(mPath.c_str(), O_RDWR | O_CLOEXEC | O_NOCTTY));
            if (file < 0) {
                fail("cannot open " + mPath);
            }
            if (takeLease(file, mPath) && isNamed(file, mPath)) {
                return changeIn(file, mPath, change);
            }
        }
        mQuiet();
        std::this_thread::sleep_for(PAUSE);
    }
    throw Failure("another program has " + mPath + " open all the time; try again later");
}
