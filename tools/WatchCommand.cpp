// "watch": what happens on the bus, as it happens. Events arrive on the bus library's thread and
// are printed there, one at a time; the command's own thread only waits for the end, which a
// signal, the awaited event or the time-out brings.
#include "platform/Mutex.h"
#include "tools/CommandOptions.h"
#include "tools/Console.h"
#include "tools/Devices.h"
#include "tools/Failures.h"
#include "tools/Replies.h"
#include "tools/ServiceLink.h"
#include "tools/Text.h"

#include <CLI/CLI.hpp>
#include <json/reader.h>

#include <csignal>
#include <ctime>
#include <memory>
#include <pthread.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

constexpr char const* STATUS_SIGNALS[] = {"localStatus", "connectionStatus", "transferStatus"};
constexpr char APPEARED[] = "appeared";
constexpr char VANISHED[] = "vanished";

struct WatchOptions {
    std::string until;
    int timeout = 0; ///< 0 for no end
    bool json = false;
};

/** Something that happened: a signal of the service, or its coming and going. */
struct Event {
    std::string name;
    Json::Value value;

    /** By its own name, or by the status that it tells. */
    bool isCalled(std::string const& wanted) const {
        return wanted == name || (!wanted.empty() && wanted == textAt(value, "Name"));
    }
};

std::string localText(Json::Value const& value) {
    return value["Current"].isInt() && value["Max"].isInt()
               ? std::to_string(value["Current"].asInt()) + " of "
                     + std::to_string(value["Max"].asInt()) + " stored"
               : std::string();
}

std::string textOf(Event const& event) {
    if (!event.value.isObject()) {
        return event.name == APPEARED ? "the service is there" : "the service is not there";
    }
    if (event.name == "localStatus") {
        return localText(event.value);
    }
    if (event.name == "connectionStatus") {
        return "devices: " + devicesText(deviceIds(event.value), {});
    }
    std::string const status = textAt(event.value, "Name");
    return status + ": " + meaningOf(status).meaning;
}

/** Keeps the signals that end a watch from every thread, until wait() takes one. */
class EndSignals {
public:
    EndSignals() {
        sigemptyset(&mSignals);
        for (int const signal : {SIGINT, SIGTERM, SIGUSR1}) {
            sigaddset(&mSignals, signal);
        }
        pthread_sigmask(SIG_BLOCK, &mSignals, &mBefore);
    }
    ~EndSignals() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
    EndSignals(EndSignals const&) = delete;
    EndSignals& operator=(EndSignals const&) = delete;

    /** Ends the wait from another thread: what is awaited has come. */
    static void reach() { kill(getpid(), SIGUSR1); }

    /** @param seconds 0 for no limit. @return the signal that came, -1 if the time is over */
    int wait(int seconds) const {
        if (seconds == 0) {
            int taken = 0;
            sigwait(&mSignals, &taken);
            return taken;
        }
        timespec const limit = {seconds, 0};
        return sigtimedwait(&mSignals, nullptr, &limit);
    }

private:
    sigset_t mSignals{};
    sigset_t mBefore{};
};

/** Prints events as they come, and notices the one that is awaited. */
class Reporter {
public:
    Reporter(WatchOptions const& options, Console& console)
        : mOptions(options), mConsole(console), mStyle(console.colour) {}

    void report(Event const& event) {
        MutexLock const lock(mOneAtATime);
        if (mIsReached) {
            return;
        }
        print(event, std::time(nullptr));
        if (event.isCalled(mOptions.until)) {
            mIsReached = true;
            EndSignals::reach();
        }
    }

private:
    void print(Event const& event, std::time_t now) {
        if (mOptions.json) {
            Json::Value line;
            line["time"] = utcTime(now);
            line["event"] = event.name;
            line["value"] = event.value;
            printJson(mConsole, line);
        } else {
            constexpr std::size_t LONGEST_NAME = 16;
            std::string name = event.name;
            name.resize(std::max(name.size(), LONGEST_NAME), ' ');
            mConsole.out << localTime(now) << "  " << mStyle.bold(name) << "  "
                         << printable(textOf(event)) << "\n";
        }
        mConsole.out << std::flush;
    }

    WatchOptions const& mOptions;
    Console& mConsole;
    Style mStyle;
    Mutex mOneAtATime;
    bool mIsReached GUARDED_BY(mOneAtATime) = false;
};

Json::Value valueOf(std::string const& data) {
    Json::Value value;
    bool const isObject = Json::Reader().parse(data, value) && value.isObject();
    return isObject ? value : Json::Value(Json::objectValue);
}

void watch(WatchOptions const& options, Console& console) {
    EndSignals const end;
    Reporter reporter(options, console);
    ServiceLink::OnSignal const onSignal = [&](std::string const& name, std::string const& data) {
        reporter.report({name, valueOf(data)});
    };
    ServiceLink::OnPresence const onPresence = [&](bool isThere) {
        reporter.report({isThere ? APPEARED : VANISHED, Json::Value()});
    };
    ServiceLink link;
    for (char const* const signal : STATUS_SIGNALS) {
        link.subscribe(TAGGING_SERVICE, signal, onSignal);
    }
    link.subscribePresence(TAGGING_SERVICE, onPresence);
    // The bus keeps the order of messages: with this answer the subscriptions are in place.
    onPresence(link.isThere(TAGGING_SERVICE));
    if (end.wait(options.timeout) < 0) {
        throw Failure(options.until + " did not come within " + std::to_string(options.timeout)
                      + " s");
    }
}

std::vector<std::string> eventNames() {
    std::vector<std::string> names(std::begin(STATUS_SIGNALS), std::end(STATUS_SIGNALS));
    names.insert(names.end(), {APPEARED, VANISHED});
    for (char const* const status :
         {"TRANSFER_SUCCEEDED", "TRANSFER_FAILED", "STOREDLOCAL_IPOD_INCOMPATIBLE",
          "LOCALFULL_IPOD_INCOMPATIBLE"}) {
        names.emplace_back(status);
    }
    return names;
}

} // namespace

void addWatch(CLI::App& command, Console& console) {
    auto const options = std::make_shared<WatchOptions>();
    CLI::Option* const until =
        command.add_option("--until", options->until, "end with the first event of that name")
            ->type_name("EVENT");
    limitTo(*until, eventNames());
    addTimeout(command, options->timeout);
    command.get_option("--timeout")
        ->needs(until)
        ->description("how long to wait for that event (no end)");
    addJson(command, options->json);
    command.footer(
        "\nEvents are the signals localStatus, connectionStatus and transferStatus, the names of\n"
        "the statuses that transferStatus tells, and appeared and vanished for the service.");
    command.callback([options, &console] { watch(*options, console); });
}
