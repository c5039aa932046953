// The client's end of the bus library: its callbacks as answers to wait for, and its status words
// as sentences. A word by itself helps nobody, so each one says what was tried, where, and what to
// do.
#include "tools/ServiceLink.h"

#include "tellbus/tellbus.h"
#include "tools/Failures.h"

#include <cstdlib>
#include <future>
#include <utility>

namespace {

constexpr unsigned int MILLISECONDS = 1000;
constexpr int BUS_SECONDS = 10; ///< how long the library waits for the bus itself

/** What was tried when the library reported a failure. */
struct Attempt {
    Peer const* peer;   ///< null for the bus itself
    char const* what;   ///< the method or signal
    int timeoutSeconds; ///< how long it was waited for

    std::string addressee() const {
        return peer == nullptr ? "the service bus at " + busAddress()
                               : std::string(peer->title) + " (" + peer->name + ")";
    }
};

Failure noBus() {
    return Failure("there is no service bus at " + busAddress()
                       + ". Start it (systemctl start dbus), or name another one in "
                         "DBUS_SYSTEM_BUS_ADDRESS.",
                   Unreachable);
}

Failure notThere(Attempt const& attempt) {
    return Failure(attempt.addressee() + " is not on the bus. "
                       + (attempt.peer == nullptr ? "" : attempt.peer->cure),
                   Unreachable);
}

/** The rest, which no caller meets while the client and the library fit together. */
Failure unexpected(TELLBUS_tStatus status, Attempt const& attempt) {
    constexpr TELLBUS_tStatus CODE = 0x0FFFFFFFU;
    return Failure(std::string(attempt.what) + " could not be sent to " + attempt.addressee()
                   + " (code " + std::to_string(status & CODE)
                   + " of tellbus.h). Try again; if it stays, check that songlatchctl and "
                     "libtellbus are of one version.");
}

Failure reasonOf(TELLBUS_tStatus status, Attempt const& attempt) {
    std::string const whom = attempt.addressee();
    switch (status) {
    case TELLBUS_E_NO_SERVICE:
        return notThere(attempt);
    case TELLBUS_E_TIMEOUT:
        return Failure(whom + " gave no answer within " + std::to_string(attempt.timeoutSeconds)
                       + " s. It may be busy; --timeout sets how long to wait.");
    case TELLBUS_E_NO_REPLY:
        return Failure(whom + " ended before it answered " + attempt.what
                       + ". Its log says why: see journalctl -u songlatch.");
    case TELLBUS_E_NO_BUS:
    case TELLBUS_E_DISCONNECTED:
        return noBus();
    case TELLBUS_E_REFUSED:
        return Failure("the policy of the bus does not let this user send "
                       + std::string(attempt.what) + " to " + whom
                       + ". Ask as root or as a member of the group songlatch.");
    case TELLBUS_E_REMOTE:
        return Failure(whom + " answered " + attempt.what
                       + " with an error. Its log says why: see journalctl -u songlatch.");
    case TELLBUS_E_REPLY:
        return Failure(whom + " answered " + attempt.what
                       + " with something else than one text. Is another program there?");
    case TELLBUS_E_TEXT:
        return Failure("the request is not valid UTF-8 text");
    case TELLBUS_E_TOO_LARGE:
        return Failure("the request is longer than the bus carries, "
                       + std::to_string(TELLBUS_MAX_TEXT) + " bytes");
    case TELLBUS_E_QUEUE_FULL:
        return Failure("the bus takes no more messages from this user. Try again in a moment.");
    default:
        return unexpected(status, attempt);
    }
}

void check(TELLBUS_tStatus status, Attempt const& attempt) {
    if (TELLBUS_FAILED(status)) {
        throw reasonOf(status, attempt);
    }
}

/** What came back: the library reports each call exactly once. */
using Answer = std::pair<TELLBUS_tStatus, std::string>;

void onResult(TELLBUS_tCallbackStatus const* status, char const* result, void* cookie) {
    // Moved here, it outlives the moment at which the caller, woken, drops its own.
    auto promise = std::move(*static_cast<std::promise<Answer>*>(cookie));
    promise.set_value({status->status, result == nullptr ? "" : result});
}

void onSignal(char const* name, char const* data, void* cookie) {
    (*static_cast<ServiceLink::OnSignal const*>(cookie))(name, data == nullptr ? "" : data);
}

void onOwnerChanged(char const* /*name*/, char const* /*oldOwner*/, char const* newOwner,
                    void* cookie) {
    bool const isThere = newOwner != nullptr && *newOwner != '\0';
    (*static_cast<ServiceLink::OnPresence const*>(cookie))(isThere);
}

/** The C interface hands cookies on untouched; the functions themselves stay const. */
template <class Function>
void* cookieOf(Function const& function) {
    return const_cast<Function*>(&function);
}

} // namespace

std::string busAddress() {
    for (char const* const variable : {"DBUS_STARTER_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"}) {
        if (char const* const address = std::getenv(variable)) {
            return address;
        }
    }
    return "unix:path=/run/dbus/system_bus_socket";
}

ServiceLink::ServiceLink() {
    Attempt const connect = {nullptr, "a connection", BUS_SECONDS};
    check(TELLBUS_initialize(), connect);
    TELLBUS_tStatus const status = TELLBUS_getConnection(0, 0, &mConnection);
    if (TELLBUS_FAILED(status)) {
        TELLBUS_shutdown();
        check(status, connect);
    }
}

ServiceLink::~ServiceLink() {
    TELLBUS_closeConnection(mConnection);
    TELLBUS_shutdown();
}

std::string ServiceLink::call(Peer const& peer, char const* method, std::string const& parameters,
                              int timeoutSeconds) {
    Attempt const attempt = {&peer, method, timeoutSeconds};
    std::promise<Answer> promise;
    std::future<Answer> future = promise.get_future();
    void* token = nullptr;
    check(TELLBUS_asyncInvoke(mConnection, peer.name, peer.path, method, parameters.c_str(), false,
                              static_cast<unsigned int>(timeoutSeconds) * MILLISECONDS, onResult,
                              &token, &promise),
          attempt);
    Answer const answer = future.get();
    if (answer.first == TELLBUS_E_REMOTE && !isThere(peer)) {
        // The error is the bus's own then: it was asked to start the program and could not.
        throw notThere(attempt);
    }
    check(answer.first, attempt);
    return answer.second;
}

bool ServiceLink::isThere(Peer const& peer) {
    unsigned int hasOwner = 0;
    check(TELLBUS_nameHasOwner(mConnection, peer.name, &hasOwner),
          {nullptr, "a question for the owner of a name", BUS_SECONDS});
    return hasOwner != 0;
}

void ServiceLink::subscribe(Peer const& peer, char const* signal, OnSignal const& report) {
    void* handle = nullptr;
    check(TELLBUS_subscribe(mConnection, peer.path, signal, onSignal, cookieOf(report), &handle),
          {nullptr, signal, BUS_SECONDS});
}

void ServiceLink::subscribePresence(Peer const& peer, OnPresence const& report) {
    void* handle = nullptr;
    check(TELLBUS_subscribeOwnerChanged(mConnection, peer.name, onOwnerChanged, cookieOf(report),
                                        &handle),
          {nullptr, "a watch on a name", BUS_SECONDS});
}
