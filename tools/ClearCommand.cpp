// "clear": no tag waits in the unit any more. A user at a terminal is asked first.
#include "tools/CommandOptions.h"
#include "tools/Console.h"
#include "tools/Failures.h"
#include "tools/Replies.h"
#include "tools/ServiceLink.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace {

struct ClearOptions {
    bool yes = false;
    int timeout = DEFAULT_TIMEOUT_SECONDS;
    bool json = false;
};

bool agrees(Console& console) {
    console.err << "Drop all tags that wait in the unit? [y/N] " << std::flush;
    std::string answer;
    std::getline(console.in, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

void clear(ClearOptions const& options, Console& console) {
    if (console.canAsk && !options.yes && !agrees(console)) {
        throw Failure("nothing was dropped");
    }
    reportStatus(
        console,
        parseReply(ServiceLink().call(TAGGING_SERVICE, "clearAllLocalTags", "{}", options.timeout)),
        options.json);
}

} // namespace

void addClear(CLI::App& command, Console& console) {
    auto const options = std::make_shared<ClearOptions>();
    command.add_flag("-y,--yes", options->yes, "do not ask");
    addTimeout(command, options->timeout);
    addJson(command, options->json);
    command.callback([options, &console] { clear(*options, console); });
}
