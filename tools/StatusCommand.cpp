// "status": the service, its devices and what is stored, at one glance.
#include "tools/BusDaemon.h"
#include "tools/CommandOptions.h"
#include "tools/Console.h"
#include "tools/Devices.h"
#include "tools/Failures.h"
#include "tools/ProcessTime.h"
#include "tools/Replies.h"
#include "tools/ServiceLink.h"
#include "tools/Text.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace {

constexpr char PROPERTIES[] = R"({"props":["transferStatus","connectionStatus","localStatus"]})";

struct StatusOptions {
    int timeout = DEFAULT_TIMEOUT_SECONDS;
    bool json = false;
};

/** What the command shows. */
struct Overview {
    std::optional<std::uint32_t> process;
    std::optional<std::time_t> since;
    Json::Value properties;
    std::map<int, std::string> names;

    Json::Value at(char const* property, char const* key) const {
        Json::Value const value = properties[property];
        return value.isObject() ? value[key] : Json::Value();
    }
};

/** The names of the devices, which only the media service knows; none if it does not answer. */
std::map<int, std::string> askForNames(ServiceLink& link, int timeout) {
    try {
        return link.isThere(MEDIA_SERVICE)
                   ? deviceNames(link.call(MEDIA_SERVICE, "getDevices", "{}", timeout))
                   : std::map<int, std::string>();
    } catch (Failure const&) {
        return {};
    }
}

Overview lookAround(int timeout) {
    Overview overview;
    ServiceLink link;
    Json::Value const reply =
        parseReply(link.call(TAGGING_SERVICE, "getProperties", PROPERTIES, timeout));
    overview.properties = reply["props"];
    if (!overview.properties.isObject()) {
        throw Failure("the answer to getProperties holds no properties");
    }
    overview.process = BusDaemon().processOf(TAGGING_SERVICE.name);
    if (overview.process) {
        overview.since = processStart(*overview.process);
    }
    if (!deviceIds(overview.properties["connectionStatus"]).empty()) {
        overview.names = askForNames(link, timeout);
    }
    return overview;
}

Json::Value toJson(Overview const& overview) {
    Json::Value json;
    json["service"] = TAGGING_SERVICE.name;
    if (overview.process) {
        json["pid"] = *overview.process;
    }
    if (overview.since) {
        json["since"] = utcTime(*overview.since);
    }
    json["devices"] = Json::Value(Json::arrayValue);
    for (int const id : deviceIds(overview.properties["connectionStatus"])) {
        Json::Value device;
        device["id"] = id;
        auto const name = overview.names.find(id);
        device["name"] = name == overview.names.end() ? "" : name->second;
        json["devices"].append(device);
    }
    json["stored"] = overview.at("localStatus", "Current");
    json["limit"] = overview.at("localStatus", "Max");
    json["lastTransfer"] = overview.properties["transferStatus"];
    json["props"] = overview.properties;
    return json;
}

std::string runningText(Overview const& overview) {
    std::string text = "running";
    if (overview.since) {
        text += " since " + localTime(*overview.since);
    }
    if (overview.process) {
        text += ", process " + std::to_string(*overview.process);
    }
    return text;
}

std::string transferText(Overview const& overview) {
    std::string const name = textAt(overview.properties["transferStatus"], "Name");
    return name == "OK" ? "none since the start" : name + ": " + meaningOf(name).meaning;
}

std::string storedText(Overview const& overview) {
    Json::Value const current = overview.at("localStatus", "Current");
    Json::Value const limit = overview.at("localStatus", "Max");
    return current.isInt() && limit.isInt()
               ? std::to_string(current.asInt()) + " of " + std::to_string(limit.asInt())
               : std::string("unknown");
}

void status(StatusOptions const& options, Console& console) {
    Overview const overview = lookAround(options.timeout);
    if (options.json) {
        printJson(console, toJson(overview));
        return;
    }
    Style const style(console.colour);
    Table table;
    table.add({"Service", runningText(overview)});
    table.add({"Devices",
               devicesText(deviceIds(overview.properties["connectionStatus"]), overview.names)});
    table.add({"Stored", storedText(overview)});
    table.add({"Last transfer", transferText(overview)});
    table.print(console.out, style);
}

} // namespace

void addStatus(CLI::App& command, Console& console) {
    auto const options = std::make_shared<StatusOptions>();
    addTimeout(command, options->timeout);
    addJson(command, options->json);
    command.callback([options, &console] { status(*options, console); });
}
