// The service with a log of its own: linked into it in place of nothing, this sets the log's path
// from the environment before main() runs, so that tests run side by side.
#include "service/stdTools.h"

#include <cstdlib>

namespace {

bool useLogOfTheTest() {
    char const* const path = std::getenv("SONGLATCH_TEST_LOG");
    if (path != nullptr) {
        stdTools::LOGFILEPATH = path;
    }
    return path != nullptr;
}

[[maybe_unused]] bool const LOG_IS_OURS = useLogOfTheTest();

} // namespace
