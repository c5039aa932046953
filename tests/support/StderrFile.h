#pragma once

#include "support/TempDir.h"

#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <unistd.h>

/** Takes what the process writes to standard error, and shows it while more may come. */
class StderrFile {
public:
    StderrFile() : mBefore(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
        mFolder.write("err", "");
        int const file = open(mFolder.path("err").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
        if (mBefore == -1 || file == -1 || dup2(file, STDERR_FILENO) == -1) {
            throw std::runtime_error("standard error cannot be redirected");
        }
        close(file);
    }
    ~StderrFile() {
        dup2(mBefore, STDERR_FILENO);
        close(mBefore);
    }
    StderrFile(StderrFile const&) = delete;
    StderrFile& operator=(StderrFile const&) = delete;

    std::string text() const { return mFolder.read("err"); }

private:
    TempDir mFolder;
    int mBefore;
};
