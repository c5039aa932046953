#include "radio/Options.h"

#include "Version.h"
#include "radio/AnyReader.h"
#include "radio/ExitStatus.h"
#include "radio/FileIdentifier.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <map>
#include <sstream>

namespace {

constexpr double LONGEST_OVERLAP = 3600;
constexpr char LAST_PROGRAM = '7';

constexpr char DESCRIPTION[] =
    R"(The radio side of Songlatch: reads what an HD Radio receiver tells about the
programme, knows what is playing, and marks it at the press of a button.

    nrsc5 ... 2>&1 | songlatch-radio --frequency 95.5 --program 0

It owns com.veldan.service.Radio on the bus. The button is the method "tagNow",
a line "tag" on the control FIFO, the signal SIGUSR1, or Enter on the terminal.
)";

constexpr char FOOTER[] = R"(
Exit status: 0 done; 1 failed, with the reason on standard error; 2 wrong
usage; 3 no bus. See songlatch-radio(1).)";

std::map<std::string, Format> const FORMATS = {
    {"nrsc5", Format::Log}, {"json", Format::Json}, {"hex", Format::Hex}};

using Check = std::string (*)(std::string const& text);

/** What to say of a value that is not what is meant. */
std::string complaint(char const* meaning, std::string const& text) {
    return std::string("needs ") + meaning + ", not \"" + text + "\"";
}

std::string checkFormat(std::string const& text) {
    return FORMATS.count(text) != 0 ? "" : complaint("nrsc5, json or hex", text);
}

std::string checkFrequency(std::string const& text) {
    bool const isNumber =
        !text.empty() && text.find_first_not_of("0123456789.") == std::string::npos
        && text.front() != '.' && text.back() != '.' && text.find('.') == text.rfind('.');
    return isNumber ? "" : complaint("a number such as 95.5", text);
}

std::string checkProgram(std::string const& text) {
    bool const isProgram = text.size() == 1 && text.front() >= '0' && text.front() <= LAST_PROGRAM;
    return isProgram ? "" : complaint("a program from 0 to 7", text);
}

std::string checkOverlap(std::string const& text) {
    double seconds = -1;
    char const* const end = text.data() + text.size();
    auto const result = std::from_chars(text.data(), end, seconds);
    bool const fits =
        result.ec == std::errc() && result.ptr == end && seconds >= 0 && seconds <= LONGEST_OVERLAP;
    return fits ? "" : complaint("seconds from 0 to 3600", text);
}

std::string checkPattern(std::string const& text) {
    try {
        SongIdRule const rule(text);
        return "";
    } catch (std::invalid_argument const& failure) {
        return "is no regular expression: " + std::string(failure.what());
    }
}

void declare(CLI::App& app, Options& options, std::string& format) {
    auto const value = [&app](char const* name, auto& target, char const* meaning, char const* type,
                              Check check = nullptr) {
        CLI::Option* const option = app.add_option(name, target, meaning)->type_name(type);
        if (check != nullptr) {
            option->check(CLI::Validator(check, ""));
        }
    };
    value("--input", options.input,
          "read a file or FIFO; standard input unless given. A FIFO is read on when its writer "
          "has gone",
          "FILE");
    value("--format", format,
          "what the input is: nrsc5 (the line log), json or hex (tag streams), one event a line; "
          "each line is recognised by itself unless given",
          "nrsc5|json|hex", checkFormat);
    value("--frequency", options.frequency, "the station's frequency, for the tags", "MHZ",
          checkFrequency);
    value("--program", options.program, "the station's program, from 0 as the receiver counts", "N",
          checkProgram);
    value("--overlap", options.overlap,
          "how long after a change of songs a press marks both; 5 unless given, 0 for never",
          "SECONDS", checkOverlap);
    value("--pattern", options.pattern,
          "regular expression that finds the iTunes song id in the id of a unique file "
          "identifier: its first group, or all of it; without, an id that is all digits is one",
          "REGEX", checkPattern);
    value("--control", options.control,
          "FIFO on which each line \"tag\" is a press; made if it is not there", "FIFO");
    app.add_flag("--print", options.print, "print each change as one JSON line, without a bus");
    app.set_version_flag("--version", "songlatch-radio " SONGLATCH_VERSION);
    app.footer(FOOTER);
}

} // namespace

std::optional<EarlyEnd> readOptions(int argc, char const* const* argv, Options& options) {
    CLI::App app(DESCRIPTION, "songlatch-radio");
    std::string format;
    declare(app, options, format);
    try {
        app.parse(argc, argv);
        options.format = format.empty() ? Format::Any : FORMATS.at(format);
    } catch (CLI::ParseError const& end) {
        std::ostringstream output;
        std::ostringstream error;
        int const status = app.exit(end, output, error);
        if (status == 0) {
            return EarlyEnd{Done, output.str(), ""};
        }
        return EarlyEnd{WrongUsage, "",
                        "songlatch-radio: " + std::string(end.what())
                            + "\nTry songlatch-radio --help.\n"};
    }
    return std::nullopt;
}

std::unique_ptr<InputReader> makeReader(Format format, Programme& programme) {
    switch (format) {
    case Format::Log:
        return std::make_unique<LogReader>(programme);
    case Format::Json:
        return std::make_unique<JsonReader>(programme);
    case Format::Hex:
        return std::make_unique<HexReader>(programme);
    default:
        return std::make_unique<AnyReader>(programme);
    }
}
