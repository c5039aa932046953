#include "tools/ServiceCommands.h"

#include "tools/Console.h"
#include "tools/Failures.h"
#include "tools/Input.h"
#include "tools/ServiceLink.h"

#include <json/reader.h>
#include <json/writer.h>

#include <csignal>
#include <mutex>
#include <ostream>
#include <pthread.h>

namespace {

constexpr int DEFAULT_TIMEOUT_SECONDS = 10;
constexpr int LONGEST_TIMEOUT_SECONDS = 86400;
constexpr char STANDARD_INPUT[] = "-";
constexpr char const* STATUS_SIGNALS[] = {"localStatus", "connectionStatus", "transferStatus"};

int timeoutOf(Arguments const& arguments) {
    int const seconds = arguments.number("--timeout").value_or(DEFAULT_TIMEOUT_SECONDS);
    if (seconds < 1 || seconds > LONGEST_TIMEOUT_SECONDS) {
        throw UsageError("--timeout needs a number of seconds from 1 to "
                         + std::to_string(LONGEST_TIMEOUT_SECONDS));
    }
    return seconds;
}

std::string withLineFeed(std::string text) {
    return text.empty() || text.back() != '\n' ? text + "\n" : text;
}

void requireJson(std::string const& text) {
    constexpr bool WITH_COMMENTS = false;
    Json::Reader reader;
    Json::Value ignored;
    if (!reader.parse(text, ignored, WITH_COMMENTS)) {
        throw Failure("the request is not JSON.\n" + reader.getFormattedErrorMessages());
    }
}

/** Keeps the signals that end a watch from every thread, until wait() takes one. */
class EndSignals {
public:
    EndSignals() {
        sigemptyset(&mSignals);
        sigaddset(&mSignals, SIGINT);
        sigaddset(&mSignals, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &mSignals, &mBefore);
    }
    ~EndSignals() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
    EndSignals(EndSignals const&) = delete;
    EndSignals& operator=(EndSignals const&) = delete;

    void wait() const {
        int taken = 0;
        sigwait(&mSignals, &taken);
    }

private:
    sigset_t mSignals{};
    sigset_t mBefore{};
};

} // namespace

void callService(char const* method, std::string const& parameters, Arguments const& arguments,
                 Console console) {
    int const timeout = timeoutOf(arguments);
    console.out << withLineFeed(ServiceLink().call(method, parameters, timeout));
}

void tag(Arguments const& arguments, Console console) {
    arguments.takeAtMost(1);
    if (arguments.operands().empty()) {
        throw UsageError("tag needs a file, or - for standard input");
    }
    std::string const& source = arguments.operands().front();
    std::string const request = source == STANDARD_INPUT ? readAll(console.in) : readFile(source);
    requireJson(request);
    callService("tagRequest", request, arguments, console);
}

void clear(Arguments const& arguments, Console console) {
    arguments.takeAtMost(0);
    callService("clearAllLocalTags", "{}", arguments, console);
}

void status(Arguments const& arguments, Console console) {
    arguments.takeAtMost(0);
    Json::Value request;
    for (char const* const signal : STATUS_SIGNALS) {
        request["props"].append(signal);
    }
    callService("getProperties", Json::FastWriter().write(request), arguments, console);
}

void check(Arguments const& arguments, Console console) {
    arguments.takeAtMost(0);
    if (!arguments.has("--name")) {
        throw UsageError("check needs --name");
    }
    Json::Value identity;
    identity["Name"] = *arguments.value("--name");
    identity["Artist"] = arguments.value("--artist").value_or("");
    identity["iTunesSongID"] = arguments.value("--song-id").value_or("");
    Json::Value request;
    request["tagInfo"].append(identity);
    if (std::optional<int> const device = arguments.number("--device")) {
        request["deviceID"] = *device;
    }
    callService("checkTag", Json::FastWriter().write(request), arguments, console);
}

void watch(Arguments const& arguments, Console console) {
    arguments.takeAtMost(0);
    EndSignals const endSignals;
    std::mutex oneLineAtATime;
    ServiceLink::OnSignal const print = [&](std::string const& name, std::string const& data) {
        std::lock_guard const lock(oneLineAtATime);
        console.out << name + " " + withLineFeed(data) << std::flush;
    };
    ServiceLink::OnPresence const notice = [&](bool isThere) {
        std::lock_guard const lock(oneLineAtATime);
        console.err << (isThere ? "the service is there\n" : "the service is not there\n")
                    << std::flush;
    };
    ServiceLink link;
    for (char const* const signal : STATUS_SIGNALS) {
        link.subscribe(signal, print);
    }
    link.subscribePresence(notice);
    // The bus keeps the order of messages: with this answer the subscriptions are in place.
    notice(link.serviceIsThere());
    endSignals.wait();
}
