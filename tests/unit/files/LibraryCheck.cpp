#include "LibraryCheck.h"

#include <stdexcept>
#include <utility>

namespace {

bool libraryCheckFails = false;
std::vector<int> checkedVersions;

} // namespace

FailingLibraryCheck::FailingLibraryCheck() {
    libraryCheckFails = true;
}
FailingLibraryCheck::~FailingLibraryCheck() {
    libraryCheckFails = false;
}

std::vector<int> takeCheckedVersions() {
    return std::exchange(checkedVersions, {});
}

extern "C" {

void __real_xmlCheckVersion(int version);
void __wrap_xmlCheckVersion(int version);

void __wrap_xmlCheckVersion(int version) {
    checkedVersions.push_back(version);
    if (libraryCheckFails) {
        throw std::runtime_error("the library is not the one");
    }
    __real_xmlCheckVersion(version);
}
}
