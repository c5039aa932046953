// "doctor": looks at everything that a tag needs on its way, in the order in which it needs it, and
// says for each thing that is wrong what to do.
#include "tools/Checkup.h"
#include "tools/CommandOptions.h"
#include "tools/Console.h"
#include "tools/Failures.h"
#include "tools/ServiceFiles.h"
#include "tools/Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <string_view>

namespace {

/** Where the page is that knows what no check can see. */
constexpr char FURTHER[] = "share/doc/songlatch-tools/troubleshooting.md has more causes";

struct DoctorOptions {
    std::string configuration = DEFAULT_CONFIGURATION;
    int timeout = DEFAULT_TIMEOUT_SECONDS;
    bool json = false;
};

void append(std::vector<Finding>& all, std::vector<Finding> const& more) {
    all.insert(all.end(), more.begin(), more.end());
}

std::vector<Finding> lookAround(DoctorOptions const& options) {
    BusCheckup const bus(options.timeout);
    FolderCheckup const folder(options.configuration, bus.process());
    std::vector<Finding> findings = bus.bus();
    append(findings, bus.policy());
    append(findings, bus.service());
    append(findings, folder.configuration());
    append(findings, folder.files());
    append(findings, folder.disk());
    append(findings, bus.mediaService());
    return findings;
}

char const* wordOf(Health health) {
    switch (health) {
    case Health::Good:
        return "ok";
    case Health::Doubtful:
        return "look";
    case Health::Bad:
        return "BAD";
    case Health::NotSeen:
        return "?";
    }
    return "";
}

std::string coloured(Health health, std::string const& text, Style const& style) {
    switch (health) {
    case Health::Good:
        return style.good(text);
    case Health::Bad:
        return style.bad(text);
    default:
        return style.doubtful(text);
    }
}

void print(std::vector<Finding> const& findings, Console& console) {
    constexpr std::size_t WORD_WIDTH = 4;
    constexpr std::size_t AREA_WIDTH = 13;
    Style const style(console.colour);
    for (Finding const& finding : findings) {
        std::string word = wordOf(finding.health);
        word.resize(WORD_WIDTH, ' ');
        std::string area = finding.area;
        area.resize(AREA_WIDTH, ' ');
        console.out << coloured(finding.health, word, style) << "  " << area << "  "
                    << printable(finding.text) << "\n";
        if (!finding.cure.empty()) {
            console.out << std::string(WORD_WIDTH + AREA_WIDTH + 4, ' ') << "-> "
                        << printable(finding.cure) << "\n";
        }
    }
}

Json::Value toJson(std::vector<Finding> const& findings) {
    Json::Value json;
    json["findings"] = Json::Value(Json::arrayValue);
    for (Finding const& finding : findings) {
        Json::Value entry;
        entry["area"] = finding.area;
        entry["state"] = finding.health == Health::Bad       ? "bad"
                         : finding.health == Health::NotSeen ? "unknown"
                                                             : wordOf(finding.health);
        entry["text"] = finding.text;
        entry["cure"] = finding.cure;
        json["findings"].append(entry);
    }
    return json;
}

bool isBad(std::vector<Finding> const& findings, std::string_view area) {
    return std::any_of(findings.begin(), findings.end(), [area](Finding const& finding) {
        return finding.health == Health::Bad && (area.empty() || area == finding.area);
    });
}

void doctor(DoctorOptions const& options, Console& console) {
    std::vector<Finding> const findings = lookAround(options);
    if (options.json) {
        printJson(console, toJson(findings));
    } else {
        print(findings, console);
    }
    if (isBad(findings, "bus") || isBad(findings, "service")) {
        throw Failure(std::string("there is no service to be asked; the lines above say why, ")
                          + FURTHER,
                      Unreachable);
    }
    if (isBad(findings, "")) {
        throw Failure(std::string("something is wrong; the lines above say what to do, ")
                      + FURTHER);
    }
}

} // namespace

void addDoctor(CLI::App& command, Console& console) {
    auto const options = std::make_shared<DoctorOptions>();
    addConfig(command, options->configuration);
    addTimeout(command, options->timeout);
    addJson(command, options->json);
    command.footer(std::string("\n") + FURTHER + ".");
    command.callback([options, &console] { doctor(*options, console); });
}
