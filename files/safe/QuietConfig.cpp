#include "files/safe/QuietConfig.h"

#include "SaxParser.h"
#include "files/CConfigInfo.h"
#include "files/CParseConfig.h"
#include "tagdata/CTagException.h"

#include <sys/stat.h>

namespace {

void sayNothing(void*, char const*, ...) {}

/** A pipe gives its text once, and to whoever asks first. */
bool isFile(std::string const& path) {
    struct stat file {};
    return stat(path.c_str(), &file) == 0 && S_ISREG(file.st_mode);
}

} // namespace

std::unique_ptr<CConfigInfo> readConfigQuietly(std::string const& path) {
    if (!isFile(path)) {
        return nullptr;
    }
    auto config = std::make_unique<CConfigInfo>(false);
    xmlSAXHandler handler = handlerFor<CParseConfig>();
    handler.warning = sayNothing;
    handler.error = sayNothing;
    try {
        if (parseFile(handler, config.get(), path) != 0) {
            return nullptr;
        }
    } catch (CTagException* exception) {
        std::unique_ptr<CTagException> const badNumber(exception);
        return nullptr;
    }
    xmlCleanupParser();
    return config;
}
