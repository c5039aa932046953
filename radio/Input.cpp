#include "radio/Input.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t CHUNK = std::size_t{64} * 1024;

[[noreturn]] void fail(std::string const& name) {
    throw std::runtime_error("cannot read " + name + ": " + std::strerror(errno)
                             + ". Name a file, a FIFO or - with --input.");
}

} // namespace

Input::Input(std::string path, Handlers handlers)
    : mPath(std::move(path)), mHandlers(std::move(handlers)) {
    open();
    struct stat status {};
    if (fstat(source(), &status) == -1) {
        fail(name());
    }
    if (S_ISDIR(status.st_mode)) {
        errno = EISDIR;
        fail(name());
    }
    mIsFifo = !isStandardInput() && S_ISFIFO(status.st_mode);
    mIsRecord = S_ISREG(status.st_mode);
}

void Input::open() {
    if (isStandardInput()) {
        return;
    }
    Descriptor opened(::open(mPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (opened.get() == -1) {
        fail(name());
    }
    // Only now the former one is closed: what a new writer has put into the FIFO stays in it.
    mFile = std::move(opened);
}

std::string Input::name() const {
    return isStandardInput() ? "standard input" : mPath;
}

bool Input::isTerminal() const {
    return isatty(source()) == 1;
}

int Input::source() const {
    return isStandardInput() ? STDIN_FILENO : mFile.get();
}

int Input::descriptor() const {
    return mEnded ? -1 : source();
}

void Input::ready() {
    std::array<char, CHUNK> bytes;
    ssize_t const count = read(source(), bytes.data(), bytes.size());
    if (count > 0) {
        mHandlers.bytes({bytes.data(), static_cast<std::size_t>(count)});
    } else if (count == 0) {
        endOfFile();
    } else if (errno != EAGAIN && errno != EINTR) {
        fail(name());
    }
}

void Input::endOfFile() {
    if (mIsFifo) {
        // A FIFO whose writer has gone is always readable; opened anew it waits for the next one.
        open();
        mHandlers.writerGone();
        return;
    }
    mEnded = true;
    mHandlers.end();
}
