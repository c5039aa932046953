// "completion": for the completion files of the shells, which read it when it is needed and so
// always know the commands of the program that is installed.
#include "tools/CommandLine.h"
#include "tools/CommandOptions.h"
#include "tools/Completions.h"
#include "tools/Console.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <ostream>

namespace {

struct CompletionOptions {
    std::string shell;
    bool json = false;
};

void completion(CompletionOptions const& options, Console& console) {
    std::string const text = completionsFor(*commandTree(console), options.shell);
    if (!options.json) {
        console.out << text;
        return;
    }
    Json::Value document;
    document["shell"] = options.shell;
    document["text"] = text;
    printJson(console, document);
}

} // namespace

void addCompletion(CLI::App& command, Console& console) {
    auto const options = std::make_shared<CompletionOptions>();
    CLI::Option* const shell =
        command.add_option("shell", options->shell, "bash, zsh or fish")->required();
    limitTo(*shell->type_name("SHELL"), completedShells());
    addJson(command, options->json);
    command.callback([options, &console] { completion(*options, console); });
}
