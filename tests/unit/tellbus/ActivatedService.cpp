// A service that a bus starts: activated-service NAME PATH
//
// It gives back what it is called with. "leave" ends it after the answer, "emit" answers with the
// status of a signal that is sent with the handle of the registration.
#include "tellbus/tellbus.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

/** Written by the registration; the first calls come before that has returned. */
void* registration = nullptr;

void onRequest(void* context, char const* method, char const* parameters, int /*noReply*/,
               void* /*cookie*/) {
    std::string answer = parameters ? parameters : "{}";
    if (std::strcmp(method, "emit") == 0) {
        answer = std::to_string(TELLBUS_emit(registration, "emitted", "{}"));
    }
    TELLBUS_returnResult(context, answer.c_str());
    TELLBUS_freeReqContext(context);
    if (std::strcmp(method, "leave") == 0) {
        std::exit(EXIT_SUCCESS);
    }
}

/** Nobody else ends what a bus has started. */
void onOwnerOfTheBus(char const* /*name*/, char const* /*before*/, char const* now,
                     void* /*cookie*/) {
    if (*now == '\0') {
        std::_Exit(EXIT_SUCCESS);
    }
}

} // namespace

int main(int argc, char** argv) {
    void* connection = nullptr;
    void* watch = nullptr;
    if (argc != 3 || TELLBUS_FAILED(TELLBUS_initialize())
        || TELLBUS_FAILED(TELLBUS_getConnection(0, 0, &connection))
        || TELLBUS_FAILED(TELLBUS_subscribeOwnerChanged(connection, "org.freedesktop.DBus",
                                                        onOwnerOfTheBus, nullptr, &watch))
        || TELLBUS_FAILED(TELLBUS_registerService(connection, argv[1], argv[2], 0, onRequest,
                                                  nullptr, &registration))) {
        return EXIT_FAILURE;
    }
    for (;;) {
        pause();
    }
}
