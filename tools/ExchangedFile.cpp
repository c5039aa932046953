// How a file is changed under the hands of a process that knows of no lock.
//
// The new bytes are written beside the file and flushed. Then the two files exchange their names in
// one step, so that at each moment there is a whole file under the name, and the one that was taken
// out stays in reach under the other. Whoever had opened it before the exchange goes on writing
// into it, which can be seen there afterwards: after the exchange the other process is given the
// time to end what it had begun, and if the file that was taken out is not what was read, it holds
// something newer, and goes back. What goes back takes the place of our bytes, unless these have
// been written over in the meantime, by somebody who opened the file by its name: then they are the
// newest, and the exchange is done once more. So the file that is thrown away is always one of
// known bytes.
#include "tools/ExchangedFile.h"

#include "tools/Failures.h"
#include "tools/Input.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

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

std::string folderOf(std::string const& path) {
    std::string const folder = std::filesystem::path(path).parent_path();
    return folder.empty() ? "." : folder;
}

/** A file beside another, of the same owner and access, gone at the end of its life. */
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
            takeAccess(file, path);
            write(file, bytes);
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

    std::string const& path() const { return mPath; }

    /** It may hold the only copy of something now. */
    void keep() { mIsKept = true; }
    void drop() { mIsKept = false; }

private:
    /** The service has to write the file again, so it must stay the service's. */
    static void takeAccess(int file, std::string const& path) {
        struct stat original {};
        if (stat(path.c_str(), &original) != 0) {
            fail("cannot look at " + path);
        }
        if (fchown(file, original.st_uid, original.st_gid) != 0) {
            fail("cannot give a new " + path
                 + " to its owner (run this as root or as the service's user)");
        }
        if (fchmod(file, original.st_mode & ALLPERMS) != 0) {
            fail("cannot set the access of a new " + path);
        }
    }

    void write(int file, std::string const& bytes) const {
        for (std::size_t done = 0; done < bytes.size();) {
            ssize_t const count = ::write(file, bytes.data() + done, bytes.size() - done);
            if (count < 0) {
                fail("cannot write " + mPath);
            }
            done += static_cast<std::size_t>(count);
        }
        if (fsync(file) != 0) {
            fail("cannot flush " + mPath);
        }
    }

    std::string mPath;
    bool mIsKept = false;
};

void exchangeNames(std::string const& one, std::string const& other) {
    if (renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) != 0) {
        fail("the file system cannot exchange " + other
             + " in one step; stop the service and use an editor");
    }
}

void flushFolder(std::string const& path) {
    Descriptor const folder(open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder < 0 || fsync(folder) != 0) {
        fail("cannot flush the folder of " + path);
    }
}

/** Where a file really is: names are exchanged, and a link's would not do. */
std::string resolved(std::string const& path) {
    std::error_code error;
    std::filesystem::path const real = std::filesystem::canonical(path, error);
    return error ? path : real.string();
}

} // namespace

ExchangedFile::ExchangedFile(std::string path, std::function<void()> quiet)
    : mPath(resolved(path)), mQuiet(std::move(quiet)) {}

std::string ExchangedFile::read() const {
    return readFile(mPath);
}

bool ExchangedFile::replace(std::string const& expected, std::string const& replacement) {
    Beside beside(mPath, replacement);
    std::string known = expected;      // what stood under the name when it was last seen
    std::string offered = replacement; // what stands beside it
    beside.keep();
    while (true) {
        exchangeNames(beside.path(), mPath);
        waitForQuiet();
        std::string taken = readFile(beside.path());
        if (taken == known) {
            break;
        }
        known = std::exchange(offered, std::move(taken));
    }
    beside.drop();
    flushFolder(mPath);
    return offered == replacement;
}

void ExchangedFile::waitForQuiet() const {
    try {
        mQuiet();
    } catch (Failure const&) {
        // Half way there is no way back: a service that does not answer costs the certainty that
        // it has ended what it had begun, and nothing else.
        return;
    }
}
