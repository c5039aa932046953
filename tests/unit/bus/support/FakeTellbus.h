#pragma once

#include "tellbus/tellbus.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

/**
 * Stands in for the bus library at link time: notes every call, answers with what the test says
 * and calls back on a thread of its own. One at a time.
 */
class FakeTellbus {
public:
    struct Service {
        void* handle;
        std::string name;
        TELLBUS_fRequest callback;
        void* cookie;
    };
    struct Call {
        std::string text;
        TELLBUS_fResult callback;
        void* cookie;
    };
    struct Subscription {
        void* handle;
        TELLBUS_fSignal callback;
        TELLBUS_fNameOwnerChanged nameCallback;
        void* cookie;
    };
    struct Completion {
        void* handle;
        TELLBUS_fStatus callback;
        void* cookie;
    };

    static constexpr TELLBUS_tStatus FAILURE = 0x80000007U;

    FakeTellbus();
    ~FakeTellbus();
    FakeTellbus(FakeTellbus const&) = delete;
    FakeTellbus& operator=(FakeTellbus const&) = delete;

    static FakeTellbus& current();

    /** From now on the operation, named without "TELLBUS_", answers with this status. */
    void answer(std::string const& operation, TELLBUS_tStatus status);
    TELLBUS_tStatus note(std::string const& operation, std::string const& arguments = "");
    void* newHandle();

    /** The operations called so far, without their arguments. */
    std::vector<std::string> operations() const;

    // The library's callbacks, on another thread and over when they return.
    void request(void* context, char const* method, char const* parameters, bool noReply = false);
    void reply(char const* text, TELLBUS_tStatus status = 0, std::size_t call = 0);
    void signal(char const* name, char const* data, std::size_t subscription = 0);
    void nameChange(char const* name, char const* oldOwner, char const* newOwner);
    void complete(TELLBUS_tStatus status = 0, std::size_t unsubscribe = 0);
    static void onLibraryThread(std::function<void()> const& callback);

    /** The calls as "operation argument argument". */
    std::vector<std::string> calls;
    std::vector<Service> services;
    std::vector<Call> invocations;
    std::vector<Subscription> subscriptions;
    std::vector<Completion> unsubscribes;
    unsigned int hasOwner = 0;
    /** Run inside TELLBUS_shutdown, and inside TELLBUS_asyncInvoke before it returns. */
    std::function<void()> duringShutdown;
    std::function<void()> duringInvoke;
    /** Run inside TELLBUS_emit with the signal's name and body. */
    std::function<void(std::string const& name, std::string const& body)> duringEmit;

private:
    std::map<std::string, TELLBUS_tStatus> mAnswers;
    std::size_t mHandles = 0;
};

/** How a handle or a context stands in FakeTellbus::calls. */
std::string shown(void const* pointer);
