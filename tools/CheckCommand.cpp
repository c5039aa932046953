// "check": whether a song has gone to a device.
#include "tools/CommandOptions.h"
#include "tools/Console.h"
#include "tools/Failures.h"
#include "tools/Replies.h"
#include "tools/ServiceLink.h"
#include "tools/Text.h"

#include <CLI/CLI.hpp>
#include <json/writer.h>

#include <memory>

namespace {

struct CheckOptions {
    std::string name;
    std::string artist;
    std::string songId;
    std::optional<int> device;
    int timeout = DEFAULT_TIMEOUT_SECONDS;
    bool json = false;
};

std::string requestOf(CheckOptions const& options) {
    Json::Value identity;
    identity["Name"] = options.name;
    identity["Artist"] = options.artist;
    identity["iTunesSongID"] = options.songId;
    Json::Value request;
    request["tagInfo"].append(identity);
    if (options.device) {
        request["deviceID"] = *options.device;
    }
    return Json::FastWriter().write(request);
}

bool isTagged(Json::Value const& reply) {
    Json::Value const& tagged = reply["tagged"];
    if (!tagged.isBool()) {
        throw Failure("the answer does not say whether the song has gone there");
    }
    return tagged.asBool();
}

void check(CheckOptions const& options, Console& console) {
    Json::Value const reply = parseReply(
        ServiceLink().call(TAGGING_SERVICE, "checkTag", requestOf(options), options.timeout));
    bool const hasGone = isTagged(reply);
    if (options.json) {
        printJson(console, reply);
        return;
    }
    std::string const where = options.device ? "device " + std::to_string(*options.device)
                                             : std::string("requests that name no device");
    console.out << printable(options.name)
                << (hasGone ? ": is recorded for " : ": is not recorded for ") << where << "\n";
}

} // namespace

void addCheck(CLI::App& command, Console& console) {
    auto const options = std::make_shared<CheckOptions>();
    addText(command, "--name", "title of the song", options->name)->required();
    addText(command, "--artist", "who plays it", options->artist);
    addText(command, "--song-id", "song identifier", options->songId);
    addDevice(command, options->device);
    addTimeout(command, options->timeout);
    addJson(command, options->json);
    command.callback([options, &console] { check(*options, console); });
}
