#include "rig/Options.h"

#include <algorithm>
#include <stdexcept>

namespace {

constexpr char USAGE[] =
    R"(Usage: songlatch-rig [--script FILE]... [--stay] [--page [ADDRESS:]PORT [page options]]

Stands in for the media service and the iPods around Songlatch: owns com.veldan.service.Media on
the bus that DBUS_SYSTEM_BUS_ADDRESS names (or the system bus), and serves the control node of
every attached device. Reads one command a line from standard input, reports one JSON object a
line on standard output.

  --script FILE  carries out the lines of FILE before those of standard input
  --stay         goes on after the end of standard input, until SIGTERM or SIGINT
  --page [ADDRESS:]PORT
                 serves a page of the whole unit, on this machine alone unless ADDRESS says
                 otherwise; goes on after the end of standard input, too
  --help         this text

For the page:
  --service COMMAND  starts the service, to be killed and restarted on the page; words are
                     separated by blanks, and no shell sees them
  --config FILE      the service's configuration; by default that of COMMAND, or
                     /etc/Songlatch.conf
  --log FILE         the service's log; by default /tmp/Songlatching.log
  --mounts FOLDER    where iPods that are attached on the page get their mount points; by default
                     a new folder

Commands:
)";

constexpr char CONFIG_WORD[] = "-config=";

std::vector<std::string> wordsOf(std::string const& command) {
    std::vector<std::string> words;
    for (std::size_t begin = 0; begin < command.size();) {
        std::size_t const end = std::min(command.find(' ', begin), command.size());
        if (end > begin) {
            words.push_back(command.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    if (words.empty()) {
        throw std::invalid_argument("songlatch-rig: --service needs a command; see --help");
    }
    return words;
}

/** The configuration that the service's own arguments name, or the usual one. */
std::string configurationOf(std::vector<std::string> const& words) {
    std::string path = "/etc/Songlatch.conf";
    for (auto const& word : words) {
        if (word.rfind(CONFIG_WORD, 0) == 0) {
            path = word.substr(sizeof CONFIG_WORD - 1);
        }
    }
    return path;
}

/** Takes the arguments one after the other. */
class Reader {
public:
    explicit Reader(std::vector<std::string> const& arguments)
        : mNext(arguments.begin()), mEnd(arguments.end()) {}

    Options read() {
        while (mNext != mEnd) {
            take(*mNext++);
        }
        if (!mPageWord.empty() && !mHasPage) {
            throw std::invalid_argument("songlatch-rig: " + mPageWord
                                        + " is for the page; say --page too");
        }
        if (mHasPage) {
            if (mPage.configuration.empty()) {
                mPage.configuration = configurationOf(mPage.service);
            }
            mOptions.page = mPage;
        }
        return mOptions;
    }

private:
    void take(std::string const& argument) {
        if (argument == "--script") {
            mOptions.scripts.push_back(value(argument, "a file"));
        } else if (argument == "--stay") {
            mOptions.stay = true;
        } else if (argument == "--help" || argument == "-h") {
            mOptions.help = true;
        } else if (argument == "--page") {
            mPage.address = PageAddress::from(value(argument, "a port"));
            mHasPage = true;
        } else {
            takeOfPage(argument);
        }
    }

    void takeOfPage(std::string const& argument) {
        if (argument == "--service") {
            mPage.service = wordsOf(value(argument, "a command"));
        } else if (argument == "--config") {
            mPage.configuration = value(argument, "a file");
        } else if (argument == "--log") {
            mPage.log = value(argument, "a file");
        } else if (argument == "--mounts") {
            mPage.mounts = value(argument, "a folder");
        } else {
            throw std::invalid_argument("songlatch-rig: " + argument
                                        + " is not understood; see --help");
        }
        mPageWord = argument;
    }

    std::string const& value(std::string const& argument, char const* meaning) {
        if (mNext == mEnd) {
            throw std::invalid_argument("songlatch-rig: " + argument + " needs " + meaning
                                        + "; see --help");
        }
        return *mNext++;
    }

    std::vector<std::string>::const_iterator mNext;
    std::vector<std::string>::const_iterator mEnd;
    Options mOptions;
    PageOptions mPage;
    bool mHasPage = false;
    std::string mPageWord;
};

} // namespace

Options Options::from(std::vector<std::string> const& arguments) {
    return Reader(arguments).read();
}

char const* Options::usage() {
    return USAGE;
}
