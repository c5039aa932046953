#include "tools/ServiceLink.h"

#include "tellbus/tellbus.h"
#include "tools/Failures.h"

#include <future>
#include <utility>

namespace {

constexpr unsigned int MILLISECONDS = 1000;

std::string reasonOf(TELLBUS_tStatus status, int timeoutSeconds) {
    switch (status) {
    case TELLBUS_E_NO_SERVICE:
        return std::string(SERVICE_NAME) + " is not on the bus. Start the service first.";
    case TELLBUS_E_TIMEOUT:
        return "the service gave no answer within " + std::to_string(timeoutSeconds)
               + " s. It may be busy; --timeout sets how long to wait.";
    case TELLBUS_E_NO_REPLY:
        return "the service ended before it answered. Its log says why.";
    case TELLBUS_E_NO_BUS:
    case TELLBUS_E_DISCONNECTED:
        return "there is no service bus. Is the system bus running, or "
               "DBUS_SYSTEM_BUS_ADDRESS set?";
    case TELLBUS_E_REFUSED:
        return "the bus refuses the call: its policy does not let this user speak to the service.";
    case TELLBUS_E_TEXT:
        return "the request is not valid UTF-8 text.";
    default:
        return "the bus library reports status " + std::to_string(status & 0x0FFFFFFFU) + ".";
    }
}

void check(TELLBUS_tStatus status) {
    if (TELLBUS_FAILED(status)) {
        throw Failure(reasonOf(status, 0));
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

ServiceLink::ServiceLink() {
    check(TELLBUS_initialize());
    TELLBUS_tStatus const status = TELLBUS_getConnection(0, 0, &mConnection);
    if (TELLBUS_FAILED(status)) {
        TELLBUS_shutdown();
        check(status);
    }
}

ServiceLink::~ServiceLink() {
    TELLBUS_closeConnection(mConnection);
    TELLBUS_shutdown();
}

std::string ServiceLink::call(char const* method, std::string const& parameters,
                              int timeoutSeconds) {
    std::promise<Answer> promise;
    std::future<Answer> future = promise.get_future();
    void* token = nullptr;
    check(TELLBUS_asyncInvoke(mConnection, SERVICE_NAME, SERVICE_PATH, method, parameters.c_str(),
                              false, static_cast<unsigned int>(timeoutSeconds) * MILLISECONDS,
                              onResult, &token, &promise));
    Answer const answer = future.get();
    if (TELLBUS_FAILED(answer.first)) {
        throw Failure(reasonOf(answer.first, timeoutSeconds));
    }
    return answer.second;
}

bool ServiceLink::serviceIsThere() {
    unsigned int hasOwner = 0;
    check(TELLBUS_nameHasOwner(mConnection, SERVICE_NAME, &hasOwner));
    return hasOwner != 0;
}

void ServiceLink::subscribe(char const* signal, OnSignal const& report) {
    void* handle = nullptr;
    check(
        TELLBUS_subscribe(mConnection, SERVICE_PATH, signal, onSignal, cookieOf(report), &handle));
}

void ServiceLink::subscribePresence(OnPresence const& report) {
    void* handle = nullptr;
    check(TELLBUS_subscribeOwnerChanged(mConnection, SERVICE_NAME, onOwnerChanged, cookieOf(report),
                                        &handle));
}
