/* A service and a client on the unit's bus. See docs/tutorial.md. */
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <tellbus/tellbus.h>
#include <unistd.h>

#define NAME "com.example.Counter"
#define PATH "/com/example/Counter"

static int fail(char const* what, TELLBUS_tStatus status) {
    fprintf(stderr, "counter: %s: status %#x\n", what, status);
    return 1;
}

/* The service. */

struct counter {
    void* service;
    int value;
};

static void onRequest(void* request, char const* method, char const* parameters, int noReply,
                      void* cookie) {
    struct counter* const counter = cookie;
    (void)parameters;
    (void)noReply;
    if (strcmp(method, "count") == 0) {
        char text[32];
        snprintf(text, sizeof text, "{\"count\":%d}", ++counter->value);
        TELLBUS_returnResult(request, text);
        TELLBUS_emit(counter->service, "counted", text);
    } else {
        TELLBUS_returnError(request, NAME ".Error.UnknownMethod", "There is only count");
    }
    TELLBUS_freeReqContext(request);
}

static int serve(void* connection, sigset_t const* ends) {
    struct counter counter = {0};
    TELLBUS_tStatus const status =
        TELLBUS_registerService(connection, NAME, PATH, 0, onRequest, &counter, &counter.service);
    if (TELLBUS_FAILED(status)) {
        return fail("cannot serve " NAME, status);
    }
    puts("serving");
    fflush(stdout);
    int ending = 0;
    sigwait(ends, &ending);
    return 0;
}

/* The client. */

static void onCounted(char const* name, char const* data, void* cookie) {
    (void)cookie;
    printf("signal %s %s\n", name, data);
    kill(getpid(), SIGTERM);
}

static void onResult(TELLBUS_tCallbackStatus const* status, char const* result, void* cookie) {
    (void)cookie;
    if (TELLBUS_FAILED(status->status)) {
        fail("count", status->status);
        kill(getpid(), SIGTERM);
        return;
    }
    printf("answer %s\n", result);
}

static int ask(void* connection, sigset_t const* ends) {
    void* subscription = NULL;
    TELLBUS_tStatus status =
        TELLBUS_subscribe(connection, PATH, "counted", onCounted, NULL, &subscription);
    if (TELLBUS_FAILED(status)) {
        return fail("cannot subscribe", status);
    }
    status = TELLBUS_asyncInvoke(connection, NAME, PATH, "count", "{}", false, 5000, onResult, NULL,
                                 NULL);
    if (TELLBUS_FAILED(status)) {
        return fail("cannot call", status);
    }
    int ending = 0;
    sigwait(ends, &ending);
    return 0;
}

/* Both. */

static int run(char const* mode) {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    sigprocmask(SIG_BLOCK, &ends, NULL);

    void* connection = NULL;
    TELLBUS_tStatus const status = TELLBUS_getConnection(0, 0, &connection);
    if (TELLBUS_FAILED(status)) {
        return fail("no bus", status);
    }
    return strcmp(mode, "serve") == 0 ? serve(connection, &ends) : ask(connection, &ends);
}

int main(int argc, char** argv) {
    if (argc != 2) {
        fputs("Usage: counter serve|ask\n", stderr);
        return 2;
    }
    TELLBUS_tStatus const status = TELLBUS_initialize();
    if (TELLBUS_FAILED(status)) {
        return fail("cannot start the library", status);
    }
    int const result = run(argv[1]);
    TELLBUS_shutdown();
    return result;
}
