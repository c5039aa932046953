#include "rig/ReportStream.h"

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace {

void writeWhole(int descriptor, std::string const& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        ssize_t const written = write(descriptor, text.data() + done, text.size() - done);
        if (written == -1 && errno != EINTR) {
            return;
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
}

} // namespace

ReportStream::ReportStream(int descriptor) : mDescriptor(descriptor) {}

void ReportStream::line(char const* event, Json::Value fields) {
    fields["event"] = event;
    MutexLock const lock(mMutex);
    writeWhole(mDescriptor, mWriter.write(fields));
    if (mWatcher) {
        mWatcher(fields);
    }
}

void ReportStream::watch(Watcher watcher) {
    MutexLock const lock(mMutex);
    mWatcher = std::move(watcher);
}

void ReportStream::error(std::string const& message) {
    Json::Value fields;
    fields["message"] = message;
    line("error", fields);
}
