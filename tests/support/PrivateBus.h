#pragma once

#include "support/OutputOf.h"
#include "support/TempDir.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

/**
 * A real bus of the test's own: a dbus-daemon with a configuration, a folder and a socket that
 * nobody else uses. Everything is allowed on it and its limits are far away, unless a test asks
 * for a nearer one.
 *
 * The address stays the same when the daemon is stopped and started again.
 */
class PrivateBus {
public:
    static constexpr std::size_t FAR_AWAY = 1000000000;
    static constexpr std::size_t MEBIBYTE = std::size_t{1} << 20U;

    /** Of the daemon, in bytes. */
    struct Limits {
        std::size_t queue = FAR_AWAY;   ///< what it keeps for a client that does not read
        std::size_t intake = FAR_AWAY;  ///< what it keeps from one client
        std::size_t message = FAR_AWAY; ///< one message
    };

    PrivateBus() : PrivateBus(Limits()) {}

    explicit PrivateBus(Limits const& limits) : mLimits(limits) {
        mFolder.write("bus.conf", configuration());
        std::filesystem::create_directory(mFolder.path("services"));
        start();
    }

    ~PrivateBus() { stop(); }
    PrivateBus(PrivateBus const&) = delete;
    PrivateBus& operator=(PrivateBus const&) = delete;

    /** Starts the daemon; it takes connections when this returns, which may take ten seconds. */
    void start() {
        int ready[2];
        if (pipe2(ready, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe for the bus");
        }
        spawn(ready[1]);
        close(ready[1]);
        bool const listens = seesALine(ready[0]);
        close(ready[0]);
        if (!listens) {
            stop();
            throw std::runtime_error("dbus-daemon did not tell its address within ten seconds; "
                                     "it said: "
                                     + mFolder.read("bus.log"));
        }
    }

    /** Ends the daemon at once, as a crash would. */
    void stop() {
        if (mPid > 0) {
            resume();
            kill(mPid, SIGKILL);
            waitpid(mPid, nullptr, 0);
            mPid = 0;
        }
    }

    void restart() {
        stop();
        start();
    }

    /** From now on the daemon runs the command when somebody calls the name and nobody owns it. */
    void activate(std::string const& name, std::vector<std::string> const& command) const {
        std::string words;
        for (std::string const& word : command) {
            words += " " + quoted(word);
        }
        mFolder.write("services/" + name + ".service",
                      "[D-BUS Service]\nName=" + name + "\nExec=" + words + "\n");
    }

    /** The daemon stops reading and writing, and keeps its connections. */
    void pause() const { kill(mPid, SIGSTOP); }
    void resume() const { kill(mPid, SIGCONT); }

    std::string address() const { return "unix:path=" + escaped(mFolder.path("bus")); }
    TempDir const& folder() const { return mFolder; }
    pid_t pid() const { return mPid; }

    /** Makes this bus the one that libtellbus connects to from this process, and its children. */
    void use() const {
        setenv("DBUS_SYSTEM_BUS_ADDRESS", address().c_str(), 1);
        unsetenv("DBUS_STARTER_ADDRESS");
        unsetenv("DBUS_STARTER_BUS_TYPE");
    }

private:
    /** A path as an address has it, which takes few letters as they are. */
    static std::string escaped(std::string const& path) {
        constexpr char DIGITS[] = "0123456789abcdef";
        std::string text;
        for (char const letter : path) {
            auto const byte = static_cast<unsigned char>(letter);
            if (byte < 0x80
                && (std::isalnum(byte) != 0 || std::strchr("-_/.", letter) != nullptr)) {
                text += letter;
            } else {
                text += {'%', DIGITS[byte / 16], DIGITS[byte % 16]};
            }
        }
        return text;
    }

    static std::string inXml(std::string const& text) {
        std::string written;
        for (char const letter : text) {
            written += letter == '&' ? "&amp;" : letter == '<' ? "&lt;" : std::string(1, letter);
        }
        return written;
    }

    std::string configuration() const {
        return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration "
               "1.0//EN\"\n"
               " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
               "<busconfig>\n"
               "  <type>session</type>\n"
               "  <listen>"
               + address()
               + "</listen>\n"
                 "  <servicedir>"
               + inXml(mFolder.path("services"))
               + "</servicedir>\n"
                 "  <policy context=\"default\">\n"
                 "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
                 "    <allow eavesdrop=\"true\"/>\n"
                 "    <allow own=\"*\"/>\n"
                 "  </policy>\n"
                 "  <limit name=\"max_incoming_bytes\">"
               + std::to_string(mLimits.intake)
               + "</limit>\n"
                 "  <limit name=\"max_outgoing_bytes\">"
               + std::to_string(mLimits.queue)
               + "</limit>\n"
                 "  <limit name=\"max_message_size\">"
               + std::to_string(mLimits.message)
               + "</limit>\n"
                 "  <limit name=\"max_completed_connections\">100000</limit>\n"
                 "  <limit name=\"max_connections_per_user\">100000</limit>\n"
                 "  <limit name=\"max_match_rules_per_connection\">50000</limit>\n"
                 "  <limit name=\"max_replies_per_connection\">1000000</limit>\n"
                 "</busconfig>\n";
    }

    void spawn(int addressFd) {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        constexpr int CHILD_FD = 3;
        posix_spawn_file_actions_adddup2(&actions, addressFd, CHILD_FD);
        std::string const log = mFolder.path("bus.log");
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, log.c_str(),
                                         O_WRONLY | O_CREAT | O_APPEND, 0600);
        std::string configuration = "--config-file=" + mFolder.path("bus.conf");
        std::string daemon = "dbus-daemon";
        std::string nofork = "--nofork";
        std::string print = "--print-address=" + std::to_string(CHILD_FD);
        char* arguments[] = {daemon.data(), configuration.data(), nofork.data(), print.data(),
                             nullptr};
        int const result =
            posix_spawnp(&mPid, daemon.c_str(), &actions, nullptr, arguments, environ);
        posix_spawn_file_actions_destroy(&actions);
        if (result != 0) {
            mPid = 0;
            throw std::runtime_error("dbus-daemon cannot be run");
        }
    }

    /** The daemon prints its address once it listens, and ends the line. */
    static bool seesALine(int fd) {
        // Generous, as a loaded machine starts programs late.
        auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        char last = '\0';
        while (last != '\n') {
            auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(
                end - std::chrono::steady_clock::now());
            pollfd entry{fd, POLLIN, 0};
            int const ready = poll(&entry, 1, std::max(0, static_cast<int>(left.count())));
            if (ready == -1 && errno == EINTR) {
                continue;
            }
            if (ready != 1 || read(fd, &last, 1) != 1) {
                return false;
            }
        }
        return true;
    }

    Limits mLimits;
    TempDir mFolder;
    pid_t mPid = 0;
};
