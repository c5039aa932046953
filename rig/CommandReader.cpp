#include "rig/CommandReader.h"

#include <array>
#include <csignal>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

constexpr std::size_t CHUNK = 65536;

int openSignals() {
    sigset_t wanted;
    sigemptyset(&wanted);
    sigaddset(&wanted, SIGINT);
    sigaddset(&wanted, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &wanted, nullptr);
    return signalfd(-1, &wanted, SFD_CLOEXEC);
}

} // namespace

CommandReader::CommandReader(int input) : mInput(input), mSignals(openSignals()) {}

CommandReader::~CommandReader() {
    close(mSignals);
}

std::optional<std::string> CommandReader::next() {
    std::size_t searched = mTaken;
    while (!mStopped) {
        std::size_t const lineFeed = mPending.find('\n', searched);
        if (lineFeed != std::string::npos) {
            return takeLine(lineFeed, lineFeed + 1);
        }
        searched = mPending.size() - mTaken;
        if (!fill()) {
            break;
        }
    }
    bool const nothingLeft = mStopped || mTaken == mPending.size();
    return nothingLeft ? std::nullopt : takeLine(mPending.size(), mPending.size());
}

std::optional<std::string> CommandReader::takeLine(std::size_t end, std::size_t next) {
    std::string line = mPending.substr(mTaken, end - mTaken);
    mTaken = next;
    return line;
}

bool CommandReader::fill() {
    mPending.erase(0, mTaken);
    mTaken = 0;
    if (mEnded) {
        return false;
    }
    std::array<pollfd, 2> waited{{{mInput, POLLIN, 0}, {mSignals, POLLIN, 0}}};
    if (poll(waited.data(), waited.size(), -1) == -1) {
        return true;
    }
    if (waited[1].revents != 0) {
        mStopped = true;
        return false;
    }
    std::array<char, CHUNK> bytes;
    ssize_t const count = read(mInput, bytes.data(), bytes.size());
    mEnded = count <= 0;
    mPending.append(bytes.data(), mEnded ? 0 : static_cast<std::size_t>(count));
    return !mEnded;
}

void CommandReader::waitForSignal() {
    pollfd waited{mSignals, POLLIN, 0};
    while (!mStopped) {
        mStopped = poll(&waited, 1, -1) == 1;
    }
}
