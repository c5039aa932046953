#pragma once

#include <array>
#include <cerrno>
#include <stdexcept>
#include <string>
#include <sys/inotify.h>
#include <unistd.h>

/** Tells whether a file has been opened, by anybody, since the watch was set up. */
class OpenWatch {
public:
    explicit OpenWatch(std::string const& path) : mEvents(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        if (inotify_add_watch(mEvents, path.c_str(), IN_OPEN) == -1) {
            throw std::runtime_error("cannot watch " + path);
        }
    }
    ~OpenWatch() { close(mEvents); }
    OpenWatch(OpenWatch const&) = delete;
    OpenWatch& operator=(OpenWatch const&) = delete;

    bool opened() const {
        std::array<char, sizeof(inotify_event) * 8> events{};
        ssize_t const size = read(mEvents, events.data(), events.size());
        if (size == -1 && errno != EAGAIN) {
            throw std::runtime_error("cannot read what happened to the file");
        }
        return size > 0;
    }

private:
    int mEvents;
};
