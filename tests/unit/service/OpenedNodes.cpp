#include "service/OpenedNodes.h"

// The linker hands every call of openControlNode to the first of these; see --wrap in
// CMakeLists.txt.
extern "C" {
int __wrap__Z15openControlNodePKci(char const* path, int flags);
int __real__Z15openControlNodePKci(char const* path, int flags);
}

namespace {

OpenedNodes* notes = nullptr;

} // namespace

OpenedNodes::OpenedNodes() {
    notes = this;
}

OpenedNodes::~OpenedNodes() {
    notes = nullptr;
}

int __wrap__Z15openControlNodePKci(char const* path, int flags) {
    if (notes != nullptr) {
        notes->paths.emplace_back(path);
    }
    return __real__Z15openControlNodePKci(path, flags);
}
