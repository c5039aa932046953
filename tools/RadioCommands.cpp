// "now" and "press": what the radio plays, and the button on it.
#include "tools/CommandOptions.h"
#include "tools/Console.h"
#include "tools/Failures.h"
#include "tools/Replies.h"
#include "tools/RequestFields.h"
#include "tools/ServiceLink.h"
#include "tools/Text.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace {

struct RadioOptions {
    int timeout = DEFAULT_TIMEOUT_SECONDS;
    bool json = false;
};

std::string textOf(Json::Value const& value) {
    return value.isString() || value.isNumeric() ? value.asString() : std::string();
}

Json::Value ask(char const* method, RadioOptions const& options) {
    return parseReply(ServiceLink().call(RADIO, method, "{}", options.timeout));
}

void now(RadioOptions const& options, Console& console) {
    Json::Value const answer = ask("nowPlaying", options);
    if (options.json) {
        printJson(console, answer);
        return;
    }
    Json::Value const& song = answer["song"];
    if (!song.isObject()) {
        console.out << "nothing that can be marked\n";
        return;
    }
    Table table;
    for (RequestField const& field : requestFields()) {
        if (std::string const text = textOf(song[field.key]); !text.empty()) {
            table.add({field.key, text});
        }
    }
    table.print(console.out, Style(console.colour));
}

void press(RadioOptions const& options, Console& console) {
    reportStatus(console, ask("tagNow", options), options.json);
}

void addRadio(CLI::App& command, Console& console,
              void (*run)(RadioOptions const& options, Console& console)) {
    auto const options = std::make_shared<RadioOptions>();
    addTimeout(command, options->timeout);
    addJson(command, options->json);
    command.callback([options, &console, run] { run(*options, console); });
}

} // namespace

void addNow(CLI::App& command, Console& console) {
    addRadio(command, console, now);
}

void addPress(CLI::App& command, Console& console) {
    addRadio(command, console, press);
}
