#include "tools/Commands.h"

#include "tools/Arguments.h"
#include "tools/Console.h"
#include "tools/DecodeCommand.h"
#include "tools/Failures.h"
#include "tools/ServiceCommands.h"

#include <exception>
#include <ostream>

namespace {

enum ExitStatus { Done = 0, Failed = 1, WrongUsage = 2 };

struct Command {
    char const* name;
    char const* arguments;
    char const* meaning;
    OptionKinds options;
    void (*run)(Arguments const& arguments, Console console);
};

std::vector<Command> const& commands() {
    constexpr OptionKind FLAG = OptionKind::Flag;
    constexpr OptionKind VALUE = OptionKind::Value;
    static std::vector<Command> const COMMANDS = {
        {"decode",
         "[--send] [--device ID] [HEX... | -f FILE | -]",
         "print a radio's tag stream as the JSON that tagRequest takes;\n"
         "with --send, mark it on the service and print the reply",
         {{"--send", FLAG}, {"--device", VALUE}, {"-f", VALUE}, {"--timeout", VALUE}},
         decode},
        {"tag", "FILE | -", "send a tagRequest as it stands", {{"--timeout", VALUE}}, tag},
        {"clear", "", "drop the tags that wait in the unit", {{"--timeout", VALUE}}, clear},
        {"status", "", "print the three published values", {{"--timeout", VALUE}}, status},
        {"check",
         "--name TEXT [--artist TEXT] [--song-id ID] [--device ID]",
         "ask whether a song has gone to a device",
         {{"--name", VALUE},
          {"--artist", VALUE},
          {"--song-id", VALUE},
          {"--device", VALUE},
          {"--timeout", VALUE}},
         check},
        {"watch", "", "print the service's signals until interrupted", {}, watch},
    };
    return COMMANDS;
}

constexpr char HELP_END[] = R"(
HEX is the stream in pairs of hexadecimal digits, with any white space between
them. Without HEX and FILE it is read from standard input.

What tagRequest has no room for is left out of the JSON, and a line on standard
error says so: a song id or podcast feed that is no whole number of 32 bits. A
button other than 0 and 1 becomes true, and a single tag's button is dropped.

--timeout SECONDS, for all commands that wait for a reply: 10 unless given.
The service is looked for on the system bus, or on the bus that
DBUS_SYSTEM_BUS_ADDRESS names.

Exit status: 0 done; 1 failed, with the reason on standard error; 2 wrong usage.
)";

std::string indented(std::string text) {
    constexpr char MARGIN[] = "      ";
    for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1)) {
        text.insert(at + 1, MARGIN);
    }
    return MARGIN + text + "\n";
}

void printHelp(std::ostream& out) {
    out << "Usage: " << PROGRAM << " COMMAND [ARGUMENT...]\n\n";
    for (Command const& command : commands()) {
        out << "  " << command.name << (*command.arguments == '\0' ? "" : " ") << command.arguments
            << "\n"
            << indented(command.meaning);
    }
    out << HELP_END;
}

bool asksForHelp(std::string const& word) {
    return word == "--help" || word == "-h" || word == "help";
}

Command const& commandNamed(std::string const& name) {
    for (Command const& command : commands()) {
        if (name == command.name) {
            return command;
        }
    }
    throw UsageError("unknown command \"" + name + "\"");
}

void run(std::vector<std::string> const& words, Console console) {
    if (words.empty()) {
        throw UsageError("no command given");
    }
    if (asksForHelp(words.front())) {
        printHelp(console.out);
        return;
    }
    Command const& command = commandNamed(words.front());
    std::vector<std::string> const rest(words.begin() + 1, words.end());
    if (rest.size() == 1 && rest.front() == "--help") {
        printHelp(console.out);
        return;
    }
    command.run(Arguments(rest, command.options), console);
    if (!console.out.flush()) {
        throw Failure("cannot write to standard output");
    }
}

} // namespace

int runCommandLine(std::vector<std::string> const& words, Console console) {
    try {
        run(words, console);
        return Done;
    } catch (UsageError const& error) {
        console.err << PROGRAM << ": " << error.what() << "\nTry " << PROGRAM << " --help.\n";
        return WrongUsage;
    } catch (std::exception const& failure) {
        console.err << PROGRAM << ": " << failure.what() << "\n";
        return Failed;
    }
}
