// songlatch-rig: stands in for what surrounds the service in a car. See docs/workbench.md.
#include "rig/CommandReader.h"
#include "rig/ReportStream.h"
#include "rig/Workbench.h"

#include <csignal>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

#include <libxml/parser.h>

namespace {

constexpr char USAGE[] =
    R"(Usage: songlatch-rig [--script FILE]... [--stay]

Stands in for the media service and the iPods around Songlatch: owns com.veldan.service.Media on
the bus that DBUS_SYSTEM_BUS_ADDRESS names (or the system bus), and serves the control node of
every attached device. Reads one command a line from standard input, reports one JSON object a
line on standard output.

  --script FILE  carries out the lines of FILE before those of standard input
  --stay         goes on after the end of standard input, until SIGTERM or SIGINT
  --help         this text

Commands:
)";

struct Options {
    std::vector<std::string> scripts;
    bool stay = false;
    bool help = false;
};

Options optionsOf(std::vector<std::string> const& arguments) {
    Options options;
    for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
        if (*argument == "--script") {
            if (++argument == arguments.end()) {
                throw std::invalid_argument("songlatch-rig: --script needs a file; see --help");
            }
            options.scripts.push_back(*argument);
        } else if (*argument == "--stay") {
            options.stay = true;
        } else if (*argument == "--help" || *argument == "-h") {
            options.help = true;
        } else {
            throw std::invalid_argument("songlatch-rig: " + *argument
                                        + " is not understood; see --help");
        }
    }
    return options;
}

void play(std::string const& script, Workbench& workbench) {
    std::ifstream lines(script);
    if (!lines) {
        throw std::runtime_error("cannot read " + script);
    }
    for (std::string line; !workbench.ended() && std::getline(lines, line);) {
        workbench.perform(line);
    }
    if (lines.bad()) {
        throw std::runtime_error("cannot read " + script);
    }
}

void run(Options const& options, ReportStream& report) {
    CommandReader reader(STDIN_FILENO);
    Workbench workbench(report);
    report.line("ready");
    for (auto const& script : options.scripts) {
        play(script, workbench);
    }
    while (!workbench.ended()) {
        auto const line = reader.next();
        if (!line) {
            break;
        }
        workbench.perform(*line);
    }
    if (options.stay && !workbench.ended()) {
        reader.waitForSignal();
    }
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    xmlInitParser();
    ReportStream report(STDOUT_FILENO);
    try {
        Options const options = optionsOf({argv + 1, argv + argc});
        if (options.help) {
            std::cout << USAGE << Workbench::help();
            return 0;
        }
        run(options, report);
        report.line("ended");
    } catch (std::invalid_argument const& fault) {
        std::cerr << fault.what() << "\n";
        return 2;
    } catch (std::exception const& fault) {
        report.error(fault.what());
        return 1;
    }
    xmlCleanupParser();
    return 0;
}
