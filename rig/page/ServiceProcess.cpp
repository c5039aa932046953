#include "rig/page/ServiceProcess.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string endOf(int status) {
    if (WIFSIGNALED(status)) {
        return std::string("killed by signal ") + std::to_string(WTERMSIG(status));
    }
    return "ended with status " + std::to_string(WEXITSTATUS(status));
}

/** Our own signals are blocked and our pipe signal ignored; the service starts as from a shell. */
class CleanStart {
public:
    CleanStart() {
        sigset_t none;
        sigemptyset(&none);
        sigset_t usual;
        sigemptyset(&usual);
        sigaddset(&usual, SIGPIPE);
        posix_spawnattr_init(&mAttributes);
        posix_spawnattr_setsigmask(&mAttributes, &none);
        posix_spawnattr_setsigdefault(&mAttributes, &usual);
        posix_spawnattr_setflags(&mAttributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        // Standard output is the rig's own report; what the service prints goes beside it.
        posix_spawn_file_actions_init(&mActions);
        posix_spawn_file_actions_addopen(&mActions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&mActions, STDERR_FILENO, STDOUT_FILENO);
    }
    ~CleanStart() {
        posix_spawnattr_destroy(&mAttributes);
        posix_spawn_file_actions_destroy(&mActions);
    }
    CleanStart(CleanStart const&) = delete;
    CleanStart& operator=(CleanStart const&) = delete;

    int run(std::vector<std::string> words, pid_t& pid) const {
        std::vector<char*> arguments;
        arguments.reserve(words.size() + 1);
        for (auto& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        return posix_spawnp(&pid, arguments[0], &mActions, &mAttributes, arguments.data(), environ);
    }

private:
    posix_spawnattr_t mAttributes{};
    posix_spawn_file_actions_t mActions{};
};

} // namespace

ServiceProcess::ServiceProcess(std::vector<std::string> words, Board& board)
    : mWords(std::move(words)), mBoard(board) {
    if (mWords.empty()) {
        throw std::invalid_argument("songlatch-rig: --service needs a program; see --help");
    }
}

ServiceProcess::~ServiceProcess() {
    try {
        kill();
    } catch (std::runtime_error const&) {
        // It does not run.
    }
    if (mWatcher.joinable()) {
        mWatcher.join();
    }
}

void ServiceProcess::start() {
    MutexLock const lock(mMutex);
    if (mPid != 0) {
        throw std::runtime_error("the service runs already");
    }
    if (mWatcher.joinable()) {
        mWatcher.join();
    }
    std::promise<Started> promise;
    mWatcher = std::thread([this, &promise] { run(promise); });
    Started const started = promise.get_future().get();
    if (started.error != 0) {
        throw std::runtime_error("cannot start " + mWords.front() + ": "
                                 + std::strerror(started.error));
    }
    mPid = started.pid;
    mEnded.clear();
    publish();
}

void ServiceProcess::kill() {
    MutexLock lock(mMutex);
    if (mPid == 0) {
        throw std::runtime_error("the service does not run");
    }
    ::kill(mPid, SIGKILL);
    while (mPid != 0) {
        lock.wait(mEnd);
    }
}

void ServiceProcess::run(std::promise<Started>& started) {
    // The system ends a tied process with the thread that started it, so this one stays until then.
    std::vector<std::string> words{"setpriv", "--pdeathsig", "KILL"};
    words.insert(words.end(), mWords.begin(), mWords.end());
    pid_t pid = 0;
    int const error = CleanStart().run(words, pid);
    started.set_value({pid, error});
    if (error == 0) {
        waitForEnd(pid);
    }
}

void ServiceProcess::waitForEnd(pid_t pid) {
    // Waits without reaping, so that the id stays the service's for as long as mPid names it.
    siginfo_t info{};
    while (waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT) == -1
           && errno == EINTR) {
    }
    MutexLock const lock(mMutex);
    int status = 0;
    waitpid(pid, &status, 0);
    mEnded = endOf(status);
    mPid = 0;
    publish();
    mEnd.notify_all();
}

void ServiceProcess::publish() const {
    Json::Value state;
    std::string command;
    for (auto const& word : mWords) {
        command += (command.empty() ? "" : " ") + word;
    }
    state["command"] = command;
    state["running"] = mPid != 0;
    state["pid"] = mPid;
    state["ended"] = mEnded;
    mBoard.set("service", state);
}
