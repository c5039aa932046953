// From words to a command. The tree of commands is the one table of what there is: the parser obeys
// it, the help prints it and the completions are made from it.
#include "tools/CommandLine.h"

#include "Version.h"
#include "tools/CommandOptions.h"
#include "tools/Console.h"
#include "tools/Failures.h"
#include "tools/Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <exception>
#include <ostream>

// Each command adds its own options and says what it runs.
void addStatus(CLI::App& command, Console& console);
void addTag(CLI::App& command, Console& console);
void addCheck(CLI::App& command, Console& console);
void addList(CLI::App& command, Console& console);
void addDelivered(CLI::App& command, Console& console);
void addPlist(CLI::App& command, Console& console);
void addExport(CLI::App& command, Console& console);
void addRemove(CLI::App& command, Console& console);
void addClear(CLI::App& command, Console& console);
void addWatch(CLI::App& command, Console& console);
void addDecode(CLI::App& command, Console& console);
void addDoctor(CLI::App& command, Console& console);
void addNow(CLI::App& command, Console& console);
void addPress(CLI::App& command, Console& console);
void addCompletion(CLI::App& command, Console& console);

namespace {

struct Command {
    char const* name;
    char const* summary;
    void (*add)(CLI::App& command, Console& console);
};

constexpr Command COMMANDS[] = {
    {"status", "show the service, its devices and what is stored", addStatus},
    {"tag", "mark a song, or two that it may have been", addTag},
    {"check", "ask whether a song has gone to a device", addCheck},
    {"list", "show the tags that wait, from the files", addList},
    {"delivered", "show what is recorded as gone where, from the files", addDelivered},
    {"plist", "print what an iPod would get now, from the files", addPlist},
    {"export", "print the tags that wait for other programs", addExport},
    {"remove", "take one waiting tag out", addRemove},
    {"clear", "drop all tags that wait in the unit", addClear},
    {"watch", "show the service's signals as they come", addWatch},
    {"decode", "read a radio's tag stream", addDecode},
    {"doctor", "look for what keeps tags from arriving", addDoctor},
    {"now", "show the song that the radio plays", addNow},
    {"press", "mark the song that the radio plays", addPress},
    {"completion", "print what makes a shell complete these words", addCompletion},
};

constexpr char FOOTER[] =
    "\nThe service is looked for on the system bus, or on the one that\n"
    "DBUS_SYSTEM_BUS_ADDRESS names. Exit status: 0 done; 1 the service said no, or\n"
    "the work failed; 2 wrong usage; 3 no bus or no service.";

void addVersion(CLI::App& app) {
    app.set_version_flag("--version", std::string(PROGRAM) + " " + SONGLATCH_VERSION,
                         "print the version");
    app.set_help_flag("-h,--help", "print this help");
}

void addCommand(CLI::App& tree, Command const& command, Console& console) {
    CLI::App* const added = tree.add_subcommand(command.name, command.summary);
    addVersion(*added);
    command.add(*added, console);
}

std::unique_ptr<CLI::App> emptyTree() {
    auto tree = std::make_unique<CLI::App>(
        "Talks to the Songlatch service, reads its files and tag streams.", PROGRAM);
    addVersion(*tree);
    tree->require_subcommand(1);
    tree->footer(FOOTER);
    return tree;
}

Command const* findCommand(std::string const& name) {
    auto const* const found =
        std::find_if(std::begin(COMMANDS), std::end(COMMANDS),
                     [&](Command const& command) { return name == command.name; });
    return found == std::end(COMMANDS) ? nullptr : found;
}

std::string commandNames() {
    std::string names;
    for (Command const& command : COMMANDS) {
        names += std::string(names.empty() ? "" : ", ") + command.name;
    }
    return names;
}

/** The tree with the one command that the words begin with, or with all of them. */
std::unique_ptr<CLI::App> treeFor(std::vector<std::string> const& words, Console& console) {
    bool const beginsWithOption =
        !words.empty() && !words.front().empty() && words.front()[0] == '-';
    if (words.empty() || beginsWithOption) {
        return commandTree(console);
    }
    Command const* const command = findCommand(words.front());
    if (command == nullptr) {
        throw UsageError("there is no command \"" + words.front() + "\"; there are "
                         + commandNames());
    }
    std::unique_ptr<CLI::App> tree = emptyTree();
    addCommand(*tree, *command, console);
    return tree;
}

/** What the parser complains of, in this program's words where its own say too little. */
std::string complaintOf(CLI::ParseError const& error, std::vector<std::string> const& words) {
    if (words.empty()) {
        return "no command given; there are " + commandNames();
    }
    return error.what();
}

void run(std::vector<std::string> const& words, Console& console) {
    std::unique_ptr<CLI::App> const tree = treeFor(words, console);
    try {
        tree->parse(std::vector<std::string>(words.rbegin(), words.rend()));
    } catch (CLI::CallForHelp const&) {
        console.out << tree->help();
    } catch (CLI::CallForVersion const& version) {
        console.out << version.what() << "\n";
    } catch (CLI::ParseError const& error) {
        throw UsageError(complaintOf(error, words));
    }
    if (!console.out.flush()) {
        throw Failure("standard output cannot be written");
    }
}

std::string hint(std::vector<std::string> const& words) {
    bool const inCommand = !words.empty() && findCommand(words.front()) != nullptr;
    return std::string(" (try ") + PROGRAM + (inCommand ? " " + words.front() : "") + " --help)";
}

} // namespace

std::unique_ptr<CLI::App> commandTree(Console& console) {
    std::unique_ptr<CLI::App> tree = emptyTree();
    for (Command const& command : COMMANDS) {
        addCommand(*tree, command, console);
    }
    return tree;
}

int runCommandLine(std::vector<std::string> const& words, Console console) {
    try {
        run(words, console);
        return Done;
    } catch (UsageError const& error) {
        console.err << PROGRAM << ": " << printable(error.what()) << hint(words) << "\n";
        return error.status();
    } catch (Failure const& failure) {
        console.err << PROGRAM << ": " << printable(failure.what()) << "\n";
        return failure.status();
    } catch (std::exception const& failure) {
        console.err << PROGRAM << ": " << printable(failure.what()) << "\n";
        return Failed;
    }
}
