// songlatch-rig: stands in for what surrounds the service in a car. See docs/workbench.md.
#include "rig/CommandReader.h"
#include "rig/Options.h"
#include "rig/ReportStream.h"
#include "rig/Workbench.h"
#include "rig/page/Page.h"

#include <csignal>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

#include <libxml/parser.h>

namespace {

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
    std::unique_ptr<Page> const page =
        options.page ? std::make_unique<Page>(*options.page, workbench, report) : nullptr;
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
    if ((options.stay || page) && !workbench.ended()) {
        reader.waitForSignal();
    }
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    xmlInitParser();
    ReportStream report(STDOUT_FILENO);
    try {
        auto const options = Options::from({argv + 1, argv + argc});
        if (options.help) {
            std::cout << Options::usage() << Workbench::help();
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
