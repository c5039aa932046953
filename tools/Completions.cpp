// What the parser knows, in the words of three shells.
//
// The tree of commands is read once into plain records of what may stand where; each shell has one
// function that prints them. A word with no limit to its values, such as a song's name, is the
// user's own and gets no proposals.
#include "tools/Completions.h"

#include "tools/CommandOptions.h"
#include "tools/Console.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <sstream>

namespace {

/** What may stand in a place: certain words, files, or whatever the user knows. */
struct Values {
    std::vector<std::string> words;
    bool areFiles = false;
};

struct OptionWords {
    std::vector<std::string> names; ///< with their dashes
    std::string meaning;
    bool takesValue = false;
    Values values;
};

struct CommandWords {
    std::string name;
    std::string meaning;
    std::vector<OptionWords> options;
    Values arguments;
};

Values valuesFor(CLI::Option& option) {
    return {valuesOf(option), option.get_type_name() == "FILE"};
}

std::vector<std::string> namesOf(CLI::Option const& option) {
    std::vector<std::string> names;
    for (std::string const& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (std::string const& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

CommandWords wordsOf(CLI::App& command) {
    CommandWords words = {command.get_name(), command.get_description(), {}, {}};
    for (CLI::Option* const option : command.get_options()) {
        if (option->get_positional()) {
            words.arguments = valuesFor(*option);
        } else {
            words.options.push_back({namesOf(*option), option->get_description(),
                                     option->get_items_expected_max() > 0, valuesFor(*option)});
        }
    }
    return words;
}

std::vector<CommandWords> commandsOf(CLI::App& tree) {
    std::vector<CommandWords> commands;
    for (CLI::App* const command : tree.get_subcommands({})) {
        commands.push_back(wordsOf(*command));
    }
    return commands;
}

std::string joined(std::vector<std::string> const& words, std::string const& between = " ") {
    return CLI::detail::join(words, between);
}

std::vector<std::string> optionNames(CommandWords const& command) {
    std::vector<std::string> all;
    for (OptionWords const& option : command.options) {
        all.insert(all.end(), option.names.begin(), option.names.end());
    }
    return all;
}

/** A word in single quotes, with one that it holds in the shell's own way. */
std::string quoted(std::string const& text, std::string const& quote) {
    return "'" + CLI::detail::find_and_replace(text, "'", quote) + "'";
}

constexpr char POSIX_QUOTE[] = R"('\'')";
constexpr char FISH_QUOTE[] = R"(\')";

/** What bash's compgen is told to propose. */
std::string proposalsOfBash(std::vector<std::string> const& words, bool files) {
    return "-W " + quoted(joined(words), POSIX_QUOTE) + (files ? " -f" : "");
}

std::string bashCase(std::string const& pattern, std::string const& proposals) {
    return "    " + pattern + ") proposals=(" + proposals + ") ;;\n";
}

/** The command, then one name of the option as the word before. */
std::string bashPattern(CommandWords const& command, OptionWords const& option) {
    std::vector<std::string> patterns;
    for (std::string const& name : option.names) {
        patterns.push_back("'" + command.name + " " + name + "'");
    }
    return joined(patterns, " | ");
}

void printForBash(std::ostream& out, CLI::App& tree) {
    std::vector<std::string> first = optionNames(wordsOf(tree));
    out << "_songlatchctl() {\n"
           "    local word=${COMP_WORDS[COMP_CWORD]} proposals=()\n"
           "    local command=${COMP_WORDS[1]} previous=${COMP_WORDS[COMP_CWORD - 1]}\n"
           "    ((COMP_CWORD > 1)) || command=\n"
           "    case \"$command $previous\" in\n";
    std::ostringstream rest;
    for (CommandWords const& command : commandsOf(tree)) {
        first.push_back(command.name);
        for (OptionWords const& option : command.options) {
            if (option.takesValue) {
                out << bashCase(bashPattern(command, option),
                                proposalsOfBash(option.values.words, option.values.areFiles));
            }
        }
        std::vector<std::string> words = optionNames(command);
        words.insert(words.end(), command.arguments.words.begin(), command.arguments.words.end());
        rest << bashCase("'" + command.name + " '*",
                         proposalsOfBash(words, command.arguments.areFiles));
    }
    out << rest.str() << bashCase("' '*", proposalsOfBash(first, false))
        << "    esac\n"
           "    mapfile -t COMPREPLY < <(compgen \"${proposals[@]}\" -- \"$word\")\n"
           "}\n"
           "complete -o filenames -F _songlatchctl songlatchctl\n";
}

/** A text inside an entry of _arguments, where brackets and colons have a meaning. */
std::string zshText(std::string text) {
    for (char const* const special : {"[", "]", ":"}) {
        text = CLI::detail::find_and_replace(text, special, std::string("\\") + special);
    }
    return text;
}

std::string zshValues(Values const& values) {
    std::string const known =
        values.words.empty() ? std::string() : "(" + joined(values.words) + ")";
    return values.areFiles ? "_files" : known;
}

void printForZsh(std::ostream& out, CLI::App& tree) {
    out << "#compdef songlatchctl\n"
           "_songlatchctl() {\n"
           "    local -a commands=(\n";
    for (CommandWords const& command : commandsOf(tree)) {
        out << "        " << quoted(zshText(command.name) + ":" + command.meaning, POSIX_QUOTE)
            << "\n";
    }
    out << "    )\n"
           "    if ((CURRENT == 2)); then\n"
           "        _describe command commands\n"
           "        return\n"
           "    fi\n"
           "    case $words[2] in\n";
    for (CommandWords const& command : commandsOf(tree)) {
        out << "    " << command.name << ")\n        _arguments";
        for (OptionWords const& option : command.options) {
            for (std::string const& name : option.names) {
                std::string text = "*" + name;
                text += "[" + zshText(option.meaning) + "]";
                if (option.takesValue) {
                    text += ":value:" + zshValues(option.values);
                }
                out << " \\\n            " << quoted(text, POSIX_QUOTE);
            }
        }
        out << " \\\n            "
            << quoted("*:argument:" + zshValues(command.arguments), POSIX_QUOTE)
            << "\n        ;;\n";
    }
    out << "    esac\n"
           "}\n"
           "compdef _songlatchctl songlatchctl\n";
}

std::string fishOption(OptionWords const& option) {
    std::string words;
    for (std::string const& name : option.names) {
        bool const isLong = name[1] == '-';
        words += isLong ? " -l " + name.substr(2) : " -s " + name.substr(1);
    }
    if (option.takesValue) {
        words += option.values.areFiles ? " -r -F" : " -x";
    }
    if (!option.values.words.empty()) {
        words += " -a " + quoted(joined(option.values.words), FISH_QUOTE);
    }
    return words + " -d " + quoted(option.meaning, FISH_QUOTE);
}

void printForFish(std::ostream& out, CLI::App& tree) {
    std::string const line = "complete -c songlatchctl";
    out << line << " -f\n";
    for (OptionWords const& option : wordsOf(tree).options) {
        out << line << " -n __fish_use_subcommand" << fishOption(option) << "\n";
    }
    for (CommandWords const& command : commandsOf(tree)) {
        std::string const within = line + " -n '__fish_seen_subcommand_from " + command.name + "'";
        out << line << " -n __fish_use_subcommand -a " << command.name << " -d "
            << quoted(command.meaning, FISH_QUOTE) << "\n";
        for (OptionWords const& option : command.options) {
            out << within << fishOption(option) << "\n";
        }
        if (command.arguments.areFiles) {
            out << within << " -F\n";
        } else if (!command.arguments.words.empty()) {
            out << within << " -a " << quoted(joined(command.arguments.words), FISH_QUOTE) << "\n";
        }
    }
}

struct Shell {
    char const* name;
    void (*print)(std::ostream& out, CLI::App& tree);
};

constexpr Shell SHELLS[] = {{"bash", printForBash}, {"zsh", printForZsh}, {"fish", printForFish}};

} // namespace

std::vector<std::string> completedShells() {
    std::vector<std::string> names;
    for (Shell const& shell : SHELLS) {
        names.emplace_back(shell.name);
    }
    return names;
}

std::string completionsFor(CLI::App& tree, std::string const& shell) {
    auto const* const found = std::find_if(std::begin(SHELLS), std::end(SHELLS),
                                           [&](Shell const& one) { return shell == one.name; });
    std::ostringstream out;
    found->print(out, tree);
    return out.str();
}
