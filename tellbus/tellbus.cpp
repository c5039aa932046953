// The C interface: arguments are checked here, handles looked up, and exceptions turned into
// statuses. What lies below takes what it is given.
//
// What moves through here belongs to the caller and is only read. Of each handle there is one entry
// in the tables, which owns the object together with the connection that uses it: a handle may be
// given up on one thread while another still works with the object behind it.
#include "tellbus/tellbus.h"

#include "tellbus/Complaints.h"
#include "tellbus/Connection.h"
#include "tellbus/Contained.h"
#include "tellbus/HandOver.h"
#include "tellbus/Handles.h"
#include "tellbus/Library.h"
#include "tellbus/Status.h"
#include "tellbus/Validate.h"

#include <climits>
#include <string>
#include <system_error>
#include <utility>

using namespace tellbus;

namespace {

constexpr std::chrono::seconds DEFAULT_TIMEOUT{25};

TimePoint deadlineOf(unsigned int timeout) {
    if (timeout == UINT_MAX) {
        return TimePoint::max();
    }
    return Clock::now()
           + (timeout == 0 ? std::chrono::milliseconds(DEFAULT_TIMEOUT)
                           : std::chrono::milliseconds(timeout));
}

/** Makes of an answer from the bus what the caller's callback expects. */
ReplyHandler resultHandler(TELLBUS_fResult callback, void* cookie) {
    return [callback, cookie](TELLBUS_tStatus status, DBusMessage* answer) {
        Argument argument;
        if (!failed(status)) {
            argument = argumentOf(answer);
            if (!argument.valid) {
                status = TELLBUS_E_REPLY;
                complain(Complaint::BadReply, orEmpty(dbus_message_get_sender(answer)));
            }
        }
        TELLBUS_tCallbackStatus const told{status};
        handOver();
        callback(&told, failed(status) ? nullptr : orEmpty(argument.text), cookie);
    };
}

TELLBUS_tStatus checkInvoke(char const* busName, char const* objectPath, char const* method,
                            char const* parameters) {
    if (!busName || !objectPath || !method) {
        return TELLBUS_E_ARGUMENT;
    }
    if (!isBusName(busName) || !isPath(objectPath) || !isMember(method)) {
        return TELLBUS_E_NAME;
    }
    return parameters ? checkText(parameters) : TELLBUS_OK;
}

TELLBUS_tStatus addSubscription(void* connection, std::shared_ptr<Subscription> subscription,
                                void** handle) {
    auto const found = handles().connections.find(connection);
    if (!found) {
        return TELLBUS_E_HANDLE;
    }
    subscription->connection = found;
    *handle = handles().subscriptions.add(subscription);
    TELLBUS_tStatus const status = found->subscribe(subscription);
    if (failed(status)) {
        handles().subscriptions.take(*handle);
    }
    return status;
}

/** Sends one answer to a request; make() makes the message. */
template <class Make>
TELLBUS_tStatus answerOnce(void* requestContext, Make make) {
    auto const request = handles().requests.find(requestContext);
    if (!request) {
        return TELLBUS_E_HANDLE;
    }
    if (request->noReply) {
        return TELLBUS_NO_REPLY_WANTED;
    }
    MessagePtr message = make(request->caller);
    if (request->replied.exchange(true)) {
        return TELLBUS_E_REPLIED;
    }
    auto const connection = request->connection.lock();
    TELLBUS_tStatus const status =
        connection ? connection->answer(request->generation, std::move(message)) : TELLBUS_E_CLOSED;
    if (failed(status)) {
        request->replied = false;
    }
    return status;
}

/** Remembers that an answer could not be sent, for the case that no other one follows. */
TELLBUS_tStatus refuseAnswer(void* requestContext, TELLBUS_tStatus why) {
    if (auto const request = handles().requests.find(requestContext)) {
        request->refused = why;
    }
    return why;
}

/** Tells the caller of a request that is given up why its answer could not be sent. */
void reportRefusal(Request& request) {
    bool const tooLarge = request.refused == TELLBUS_E_TOO_LARGE;
    if ((!tooLarge && request.refused != TELLBUS_E_TEXT) || request.noReply
        || request.replied.exchange(true)) {
        return;
    }
    if (auto const connection = request.connection.lock()) {
        std::string const text =
            tooLarge ? "The answer is longer than " + std::to_string(TELLBUS_MAX_TEXT) + " bytes"
                     : "The answer is not valid UTF-8";
        connection->answer(request.generation,
                           errorReply(request.caller,
                                      tooLarge ? DBUS_ERROR_LIMITS_EXCEEDED : DBUS_ERROR_FAILED,
                                      text.c_str()));
    }
}

} // namespace

TELLBUS_tStatus TELLBUS_initialize(void) {
    return contained([] { return Library::instance().initialize(); });
}

void TELLBUS_shutdown(void) {
    contained([] {
        Library::instance().shutDown();
        return TELLBUS_OK;
    });
}

TELLBUS_tStatus TELLBUS_getConnection(unsigned int /*reserved1*/, unsigned int /*reserved2*/,
                                      void** connection) {
    return contained([&]() -> TELLBUS_tStatus {
        if (!connection) {
            return TELLBUS_E_ARGUMENT;
        }
        auto const loop = Library::instance().loop();
        if (!loop || loop->onThread()) {
            return loop ? TELLBUS_E_THREAD : TELLBUS_E_NOT_INITIALIZED;
        }
        auto const made = Library::makeConnection(loop);
        void* const handle = Library::instance().adopt(made, loop);
        if (!handle) {
            return TELLBUS_E_NOT_INITIALIZED;
        }
        TELLBUS_tStatus const status = made->open();
        if (failed(status)) {
            handles().connections.take(handle);
        } else {
            *connection = handle;
        }
        return status;
    });
}

TELLBUS_tStatus TELLBUS_closeConnection(void* connection) {
    return contained([&]() -> TELLBUS_tStatus {
        auto const closing = handles().connections.move(connection, handles().closing);
        if (!closing) {
            return TELLBUS_E_HANDLE;
        }
        dropHandlesOf(closing);
        return closing->close();
    });
}

TELLBUS_tStatus TELLBUS_registerService(void* connection, char const* name, char const* path,
                                        unsigned int /*reserved*/, TELLBUS_fRequest callback,
                                        void* cookie, void** handle) {
    return contained([&]() -> TELLBUS_tStatus {
        if (!name || !path || !callback || !handle) {
            return TELLBUS_E_ARGUMENT;
        }
        if (!isServiceName(name) || !isPath(path)) {
            return TELLBUS_E_NAME;
        }
        auto const found = handles().connections.find(connection);
        if (!found || found->onThread()) {
            return found ? TELLBUS_E_THREAD : TELLBUS_E_HANDLE;
        }
        auto const service = std::make_shared<Service>();
        service->name = name;
        service->path = path;
        service->callback = callback;
        service->cookie = cookie;
        service->connection = found;
        // First the handle: calls come before the answer of the bus, and may use it.
        *handle = handles().services.add(service);
        TELLBUS_tStatus const status = found->registerService(service);
        if (failed(status)) {
            handles().services.take(std::exchange(*handle, nullptr));
        }
        return status;
    });
}

TELLBUS_tStatus TELLBUS_unregisterService(void* handle) {
    return contained([&]() -> TELLBUS_tStatus {
        auto const service = handles().services.take(handle);
        auto const connection = service ? service->connection.lock() : nullptr;
        return connection ? connection->unregisterService(service) : TELLBUS_E_HANDLE;
    });
}

TELLBUS_tStatus TELLBUS_setIntrospection(void* handle, char const* xml) {
    return contained([&]() -> TELLBUS_tStatus {
        TELLBUS_tStatus const text = xml ? checkText(xml) : TELLBUS_OK;
        if (failed(text)) {
            return text;
        }
        auto const service = handles().services.find(handle);
        auto const connection = service ? service->connection.lock() : nullptr;
        bool const described = connection && connection->describe(service, orEmpty(xml));
        return described ? TELLBUS_OK : TELLBUS_E_HANDLE;
    });
}

TELLBUS_tStatus TELLBUS_asyncInvoke(void* connection, char const* busName, char const* objectPath,
                                    char const* method, char const* jsonParameters,
                                    bool noReplyExpected, unsigned int timeout,
                                    TELLBUS_fResult callback, void** token, void* cookie) {
    return contained([&]() -> TELLBUS_tStatus {
        TELLBUS_tStatus const arguments = checkInvoke(busName, objectPath, method, jsonParameters);
        if (failed(arguments) || (!callback && !noReplyExpected)) {
            return failed(arguments) ? arguments : TELLBUS_E_ARGUMENT;
        }
        auto const found = handles().connections.find(connection);
        if (!found) {
            return TELLBUS_E_HANDLE;
        }
        MessagePtr message =
            methodCall(busName, objectPath, isInterface(busName) ? busName : nullptr, method,
                       jsonParameters, noReplyExpected);
        TELLBUS_tStatus const status = noReplyExpected
                                           ? found->send(std::move(message))
                                           : found->call(std::move(message), deadlineOf(timeout),
                                                         resultHandler(callback, cookie));
        if (token && !failed(status)) {
            *token = HandleTable<Request>::reserve();
        }
        return status;
    });
}

TELLBUS_tStatus TELLBUS_subscribe(void* connection, char const* objectPath, char const* signalName,
                                  TELLBUS_fSignal callback, void* cookie, void** handle) {
    return contained([&]() -> TELLBUS_tStatus {
        if (!objectPath || !signalName || !callback || !handle) {
            return TELLBUS_E_ARGUMENT;
        }
        if (!isPath(objectPath) || !isMember(signalName)
            || !isBusName(nameSpelledBy(objectPath).c_str())) {
            return TELLBUS_E_NAME;
        }
        auto subscription = std::make_shared<Subscription>();
        subscription->name = nameSpelledBy(objectPath);
        subscription->path = objectPath;
        subscription->member = signalName;
        subscription->onSignal = callback;
        subscription->cookie = cookie;
        return addSubscription(connection, std::move(subscription), handle);
    });
}

TELLBUS_tStatus TELLBUS_subscribeOwnerChanged(void* connection, char const* name,
                                              TELLBUS_fNameOwnerChanged callback, void* cookie,
                                              void** handle) {
    return contained([&]() -> TELLBUS_tStatus {
        if (!name || !callback || !handle) {
            return TELLBUS_E_ARGUMENT;
        }
        if (!isBusName(name)) {
            return TELLBUS_E_NAME;
        }
        auto subscription = std::make_shared<Subscription>();
        subscription->name = name;
        subscription->onOwner = callback;
        subscription->cookie = cookie;
        return addSubscription(connection, std::move(subscription), handle);
    });
}

TELLBUS_tStatus TELLBUS_asyncUnsubscribe(void* handle, TELLBUS_fStatus callback, void* cookie) {
    return contained([&]() -> TELLBUS_tStatus {
        auto const subscription = handles().subscriptions.take(handle);
        auto const connection = subscription ? subscription->connection.lock() : nullptr;
        if (!connection) {
            return TELLBUS_E_HANDLE;
        }
        return connection->unsubscribe(subscription, [callback, cookie] {
            if (callback) {
                TELLBUS_tCallbackStatus const done{TELLBUS_OK};
                callback(&done, cookie);
            }
        });
    });
}

TELLBUS_tStatus TELLBUS_nameHasOwner(void* connection, char const* name, unsigned int* hasOwner) {
    return contained([&]() -> TELLBUS_tStatus {
        if (!name || !hasOwner) {
            return TELLBUS_E_ARGUMENT;
        }
        if (!isBusName(name)) {
            return TELLBUS_E_NAME;
        }
        auto const found = handles().connections.find(connection);
        if (!found || found->onThread()) {
            return found ? TELLBUS_E_THREAD : TELLBUS_E_HANDLE;
        }
        bool owned = false;
        TELLBUS_tStatus const status = found->nameHasOwner(name, owned);
        if (!failed(status)) {
            *hasOwner = owned ? 1 : 0;
        }
        return status;
    });
}

TELLBUS_tStatus TELLBUS_emit(void* handle, char const* signalName, char const* jsonData) {
    return contained([&]() -> TELLBUS_tStatus {
        if (!signalName) {
            return TELLBUS_E_ARGUMENT;
        }
        if (!isMember(signalName)) {
            return TELLBUS_E_NAME;
        }
        TELLBUS_tStatus const text = checkText(jsonData);
        if (failed(text)) {
            return text;
        }
        auto const service = handles().services.find(handle);
        auto const connection = service ? service->connection.lock() : nullptr;
        return connection ? connection->send(signalMessage(
                   service->path.c_str(), service->name.c_str(), signalName, jsonData))
                          : TELLBUS_E_HANDLE;
    });
}

TELLBUS_tStatus TELLBUS_returnResult(void* requestContext, char const* jsonResult) {
    return contained([&]() -> TELLBUS_tStatus {
        TELLBUS_tStatus const text = checkText(jsonResult);
        return failed(text) ? refuseAnswer(requestContext, text)
                            : answerOnce(requestContext, [&](ReturnAddress const& caller) {
                                  return reply(caller, jsonResult);
                              });
    });
}

TELLBUS_tStatus TELLBUS_returnError(void* requestContext, char const* errorName,
                                    char const* message) {
    return contained([&]() -> TELLBUS_tStatus {
        if (!errorName) {
            return TELLBUS_E_ARGUMENT;
        }
        if (!isErrorName(errorName)) {
            return TELLBUS_E_NAME;
        }
        TELLBUS_tStatus const text = checkText(message);
        return failed(text) ? refuseAnswer(requestContext, text)
                            : answerOnce(requestContext, [&](ReturnAddress const& caller) {
                                  return errorReply(caller, errorName, message);
                              });
    });
}

void TELLBUS_freeReqContext(void* requestContext) {
    contained([&] {
        if (auto const request = handles().requests.take(requestContext)) {
            reportRefusal(*request);
        }
        return TELLBUS_OK;
    });
}
