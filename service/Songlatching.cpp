#include "Version.h"
#include "bus/CTellbusEventRouter.h"
#include "files/XMLTools.h"
#include "service/CTaggingImpl.h"
#include "service/stdTools.h"
#include "tagdata/CTagException.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

namespace {

constexpr char SOURCE[] = "Main";
constexpr char CONFIGOPTION[] = "-config=";

/** The one service object. It is reachable from here when an exception ends the process. */
CTaggingImpl* service = nullptr;

void readArguments(int argc, char** argv) {
    // The "=" is no part of the comparison, yet the value always starts behind its place, even in
    // an argument that ends before it: there it is what stands next in the process's argument
    // block.
    // Tests: test_the_character_after_config_is_not_looked_at and
    // test_config_alone_takes_what_stands_after_it_in_memory.
    constexpr std::size_t compared = sizeof("-config") - 1;
    constexpr std::size_t skipped = sizeof(CONFIGOPTION) - 1;
    for (int index = 1; index < argc; ++index) {
        if (std::strncmp(argv[index], CONFIGOPTION, compared) == 0) {
            XMLTools::_CONFIGFILEPATH = argv[index] + skipped;
        }
    }
}

void logStart() {
    tools.Output(SOURCE, "-----> Starting version " SONGLATCH_VERSION " <-----", stdTools::Warning);
    // The switch itself serves as the level of its line.
    tools.Output(SOURCE, "File Logging is: " + stdTools::toString(stdTools::FILELOGGING),
                 static_cast<stdTools::ErrorLevel>(stdTools::FILELOGGING));
    if (stdTools::FILELOGGING) {
        tools.Output(SOURCE, "Log file: " + stdTools::LOGFILEPATH, stdTools::Message);
    }
    tools.Output(SOURCE, "Config File:" + XMLTools::_CONFIGFILEPATH, stdTools::Message);
}

void run() {
    service = new CTaggingImpl(tools.DEBUG);
    CTellbusEventRouter::getMe()->start();
    delete service;
    service = nullptr;
}

void logFailure(CTagException const& failure) {
    tools.Output(SOURCE,
                 "Error code: " + stdTools::toString(failure.ExCode())
                     + " - Message: " + failure.Message(),
                 stdTools::Error);
}

} // namespace

int main(int argc, char** argv) {
    stdTools::FILELOGGING = true;
    tools.DEBUG = false;
    // Nobody reading what is printed is no reason to end in the middle of a request.
    std::signal(SIGPIPE, SIG_IGN);
    // A line printed must reach the journal although the process ends by being killed.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    readArguments(argc, argv);
    logStart();
    try {
        run();
    } catch (CTagException* exception) {
        std::unique_ptr<CTagException> const failure(exception);
        if (failure != nullptr) {
            logFailure(*failure);
        }
    } catch (...) {
        tools.Output(SOURCE, "Unhandled Error", stdTools::Error);
    }
    tools.Output(SOURCE, "Exiting", stdTools::Warning);
    return 0;
}
