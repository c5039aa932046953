#include "radio/Buttons.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <stdexcept>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t FIFO_MODE = 0660;
constexpr std::size_t CHUNK = 4096;
constexpr char TAG[] = "tag";

bool makeFifo(std::string const& path) {
    if (mkfifo(path.c_str(), FIFO_MODE) == 0) {
        return true;
    }
    if (errno != EEXIST) {
        throw std::runtime_error("cannot make the FIFO " + path + ": " + std::strerror(errno)
                                 + ". Name another place with --control.");
    }
    return false;
}

/** Opened both ways it has no end, whoever writes into it and goes again. */
int openFifo(std::string const& path) {
    int const fifo = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    struct stat status {};
    if (fifo == -1 || fstat(fifo, &status) == -1) {
        throw std::runtime_error("cannot open " + path + ": " + std::strerror(errno)
                                 + ". Name another place with --control.");
    }
    if (!S_ISFIFO(status.st_mode)) {
        close(fifo);
        throw std::runtime_error(path
                                 + " is there and is no FIFO. Remove it, or name another "
                                   "place with --control.");
    }
    return fifo;
}

int openTerminal() {
    bool const isAttended =
        isatty(STDIN_FILENO) == 1 || isatty(STDOUT_FILENO) == 1 || isatty(STDERR_FILENO) == 1;
    return isAttended ? open("/dev/tty", O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC) : -1;
}

int openSignals() {
    sigset_t wanted;
    sigemptyset(&wanted);
    for (int const signal : {SIGUSR1, SIGINT, SIGTERM}) {
        sigaddset(&wanted, signal);
    }
    pthread_sigmask(SIG_BLOCK, &wanted, nullptr);
    return signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK);
}

} // namespace

ControlFifo::ControlFifo(std::string path, std::function<void()> press)
    : mPath(std::move(path)), mPress(std::move(press)), mIsOurs(makeFifo(mPath)),
      mFifo(openFifo(mPath)), mLines([this](std::string_view line) { takeLine(line); }) {}

ControlFifo::~ControlFifo() {
    if (mIsOurs) {
        unlink(mPath.c_str());
    }
}

void ControlFifo::ready() {
    std::array<char, CHUNK> bytes;
    ssize_t const count = read(mFifo.get(), bytes.data(), bytes.size());
    if (count > 0) {
        mLines.feed({bytes.data(), static_cast<std::size_t>(count)});
    }
}

void ControlFifo::takeLine(std::string_view line) {
    if (line == TAG) {
        mPress();
    } else if (!line.empty()) {
        std::cerr << "songlatch-radio: a line on " << mPath
                  << " is not understood. The one command is \"" << TAG << "\".\n";
    }
}

EnterKey::EnterKey(std::function<void()> press)
    : mPress(std::move(press)), mTerminal(openTerminal()) {
    // In the background a read of the terminal would stop the program; ignored, it fails instead.
    std::signal(SIGTTIN, SIG_IGN);
}

void EnterKey::ready() {
    std::array<char, CHUNK> bytes;
    ssize_t const count = read(mTerminal.get(), bytes.data(), bytes.size());
    if (count > 0) {
        auto const end = bytes.begin() + count;
        for (auto presses = std::count(bytes.begin(), end, '\n'); presses > 0; --presses) {
            mPress();
        }
    } else if (count == 0 || errno != EAGAIN) {
        mTerminal = Descriptor();
    }
}

Signals::Signals(std::function<void()> press, std::function<void()> end)
    : mPress(std::move(press)), mEnd(std::move(end)), mSignals(openSignals()) {}

void Signals::ready() {
    signalfd_siginfo signal{};
    if (read(mSignals.get(), &signal, sizeof signal) != sizeof signal) {
        return;
    }
    (signal.ssi_signo == SIGUSR1 ? mPress : mEnd)();
}
