#pragma once

#include <vector>

// The version check of libxml2 leads through the linker to a stand-in (see CMakeLists.txt), which
// calls the real one unless one of the objects below says otherwise.

/** While it lives, the version check of libxml2 throws. */
class FailingLibraryCheck {
public:
    FailingLibraryCheck();
    ~FailingLibraryCheck();
    FailingLibraryCheck(FailingLibraryCheck const&) = delete;
    FailingLibraryCheck& operator=(FailingLibraryCheck const&) = delete;
};

/** The versions that were asked for since the last look. */
std::vector<int> takeCheckedVersions();
