#include "FakeTellbus.h"

#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <thread>

namespace {

FakeTellbus* current = nullptr;

char handleRoom[4096];

template <class... Arguments>
std::string joined(Arguments const&... arguments) {
    std::ostringstream text;
    char const* separator = "";
    ((text << separator << arguments, separator = " "), ...);
    return text.str();
}

bool isGood(TELLBUS_tStatus status) {
    return static_cast<std::int32_t>(status) >= 0;
}

} // namespace

std::string shown(void const* pointer) {
    return joined(pointer);
}

FakeTellbus::FakeTellbus() {
    ::current = this;
}

FakeTellbus::~FakeTellbus() {
    ::current = nullptr;
}

FakeTellbus& FakeTellbus::current() {
    if (::current == nullptr) {
        std::abort();
    }
    return *::current;
}

void FakeTellbus::answer(std::string const& operation, TELLBUS_tStatus status) {
    mAnswers[operation] = status;
}

TELLBUS_tStatus FakeTellbus::note(std::string const& operation, std::string const& arguments) {
    calls.push_back(arguments.empty() ? operation : operation + " " + arguments);
    return mAnswers.count(operation) == 0 ? 0 : mAnswers[operation];
}

void* FakeTellbus::newHandle() {
    return &handleRoom[++mHandles];
}

std::vector<std::string> FakeTellbus::operations() const {
    std::vector<std::string> names;
    for (std::string const& call : calls) {
        names.push_back(call.substr(0, call.find(' ')));
    }
    return names;
}

void FakeTellbus::request(void* context, char const* method, char const* parameters, bool noReply) {
    Service const to = services.at(0);
    onLibraryThread([=] { to.callback(context, method, parameters, noReply ? 1 : 0, to.cookie); });
}

void FakeTellbus::reply(char const* text, TELLBUS_tStatus status, std::size_t call) {
    Call const to = invocations.at(call);
    TELLBUS_tCallbackStatus const word{status};
    onLibraryThread([&] { to.callback(&word, text, to.cookie); });
}

void FakeTellbus::signal(char const* name, char const* data, std::size_t subscription) {
    Subscription const to = subscriptions.at(subscription);
    onLibraryThread([&] { to.callback(name, data, to.cookie); });
}

void FakeTellbus::nameChange(char const* name, char const* oldOwner, char const* newOwner) {
    Subscription const to = subscriptions.at(0);
    onLibraryThread([&] { to.nameCallback(name, oldOwner, newOwner, to.cookie); });
}

void FakeTellbus::complete(TELLBUS_tStatus status, std::size_t unsubscribe) {
    Completion const to = unsubscribes.at(unsubscribe);
    TELLBUS_tCallbackStatus const word{status};
    onLibraryThread([&] { to.callback(&word, to.cookie); });
}

void FakeTellbus::onLibraryThread(std::function<void()> const& callback) {
    std::thread(callback).join();
}

TELLBUS_tStatus TELLBUS_initialize(void) {
    return FakeTellbus::current().note("initialize");
}

TELLBUS_tStatus TELLBUS_getConnection(unsigned int reserved1, unsigned int reserved2,
                                      void** connection) {
    FakeTellbus& bus = FakeTellbus::current();
    TELLBUS_tStatus const status = bus.note("getConnection", joined(reserved1, reserved2));
    *connection = isGood(status) ? bus.newHandle() : nullptr;
    return status;
}

TELLBUS_tStatus TELLBUS_closeConnection(void* connection) {
    return FakeTellbus::current().note("closeConnection", shown(connection));
}

void TELLBUS_shutdown(void) {
    FakeTellbus& bus = FakeTellbus::current();
    bus.note("shutdown");
    if (bus.duringShutdown) {
        bus.duringShutdown();
    }
}

TELLBUS_tStatus TELLBUS_registerService(void* connection, char const* name, char const* path,
                                        unsigned int reserved, TELLBUS_fRequest callback,
                                        void* cookie, void** handle) {
    FakeTellbus& bus = FakeTellbus::current();
    TELLBUS_tStatus const status =
        bus.note("registerService", joined(connection, name, path, reserved));
    if (isGood(status)) {
        *handle = bus.newHandle();
        bus.services.push_back({*handle, name, callback, cookie});
    }
    return status;
}

TELLBUS_tStatus TELLBUS_unregisterService(void* handle) {
    return FakeTellbus::current().note("unregisterService", shown(handle));
}

TELLBUS_tStatus TELLBUS_asyncInvoke(void* connection, char const* busName, char const* objectPath,
                                    char const* method, char const* jsonParameters,
                                    bool noReplyExpected, unsigned int timeout,
                                    TELLBUS_fResult callback, void** token, void* cookie) {
    FakeTellbus& bus = FakeTellbus::current();
    std::string const text = joined(connection, busName, objectPath, method, jsonParameters,
                                    noReplyExpected, timeout, *token == nullptr ? "null" : "token");
    TELLBUS_tStatus const status = bus.note("asyncInvoke", text);
    if (isGood(status)) {
        bus.invocations.push_back({method, callback, cookie});
        if (bus.duringInvoke) {
            bus.duringInvoke();
        }
    }
    return status;
}

TELLBUS_tStatus TELLBUS_subscribe(void* connection, char const* objectPath, char const* signalName,
                                  TELLBUS_fSignal callback, void* cookie, void** handle) {
    FakeTellbus& bus = FakeTellbus::current();
    TELLBUS_tStatus const status =
        bus.note("subscribe", joined(connection, objectPath, signalName));
    if (isGood(status)) {
        *handle = bus.newHandle();
        bus.subscriptions.push_back({*handle, callback, nullptr, cookie});
    }
    return status;
}

TELLBUS_tStatus TELLBUS_subscribeOwnerChanged(void* connection, char const* name,
                                              TELLBUS_fNameOwnerChanged callback, void* cookie,
                                              void** handle) {
    FakeTellbus& bus = FakeTellbus::current();
    TELLBUS_tStatus const status = bus.note("subscribeOwnerChanged", joined(connection, name));
    if (isGood(status)) {
        *handle = bus.newHandle();
        bus.subscriptions.push_back({*handle, nullptr, callback, cookie});
    }
    return status;
}

TELLBUS_tStatus TELLBUS_asyncUnsubscribe(void* handle, TELLBUS_fStatus callback, void* cookie) {
    FakeTellbus& bus = FakeTellbus::current();
    TELLBUS_tStatus const status = bus.note("asyncUnsubscribe", shown(handle));
    if (isGood(status)) {
        bus.unsubscribes.push_back({handle, callback, cookie});
    }
    return status;
}

TELLBUS_tStatus TELLBUS_nameHasOwner(void* connection, char const* name, unsigned int* hasOwner) {
    FakeTellbus& bus = FakeTellbus::current();
    *hasOwner = bus.hasOwner;
    return bus.note("nameHasOwner", joined(connection, name));
}

TELLBUS_tStatus TELLBUS_emit(void* handle, char const* signalName, char const* jsonData) {
    FakeTellbus& bus = FakeTellbus::current();
    if (bus.duringEmit) {
        bus.duringEmit(signalName, jsonData);
    }
    return bus.note("emit", joined(handle, signalName, jsonData));
}

TELLBUS_tStatus TELLBUS_returnResult(void* requestContext, char const* jsonResult) {
    return FakeTellbus::current().note("returnResult", joined(requestContext, jsonResult));
}

TELLBUS_tStatus TELLBUS_returnError(void* requestContext, char const* errorName,
                                    char const* message) {
    return FakeTellbus::current().note("returnError", joined(requestContext, errorName, message));
}

void TELLBUS_freeReqContext(void* requestContext) {
    FakeTellbus::current().note("freeReqContext", shown(requestContext));
}
