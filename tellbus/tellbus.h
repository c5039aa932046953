/**
 * libtellbus: calls, signals and services on the unit's service bus.
 */
#ifndef TELLBUS_TELLBUS_H
#define TELLBUS_TELLBUS_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define TELLBUS_API __attribute__((visibility("default")))

/** Bits 31 and 30: severity; low 28 bits: a code. A word with bit 31 set is a failure. */
typedef uint32_t TELLBUS_tStatus;

#define TELLBUS_FAILED(status) (((status)&0x80000000u) != 0)

#define TELLBUS_OK 0u
#define TELLBUS_NO_REPLY_WANTED 0x40000001u

#define TELLBUS_E_ARGUMENT 0x80000001u
#define TELLBUS_E_HANDLE 0x80000002u
#define TELLBUS_E_NAME 0x80000003u
#define TELLBUS_E_TEXT 0x80000004u
#define TELLBUS_E_TOO_LARGE 0x80000005u
#define TELLBUS_E_NOT_INITIALIZED 0x80000006u
#define TELLBUS_E_NO_BUS 0x80000007u
#define TELLBUS_E_DISCONNECTED 0x80000008u
#define TELLBUS_E_TIMEOUT 0x80000009u
#define TELLBUS_E_REMOTE 0x8000000Au
#define TELLBUS_E_NO_SERVICE 0x8000000Bu
#define TELLBUS_E_NAME_TAKEN 0x8000000Cu
#define TELLBUS_E_EXISTS 0x8000000Du
#define TELLBUS_E_REPLIED 0x8000000Eu
#define TELLBUS_E_CLOSED 0x8000000Fu
#define TELLBUS_E_QUEUE_FULL 0x80000010u
#define TELLBUS_E_THREAD 0x80000011u
#define TELLBUS_E_REPLY 0x80000012u
#define TELLBUS_E_REFUSED 0x80000013u
#define TELLBUS_E_NO_REPLY 0x80000014u
#define TELLBUS_E_MEMORY 0x80000015u
#define TELLBUS_E_INTERNAL 0x80000016u

#define TELLBUS_MAX_TEXT 33488896u
#define TELLBUS_MAX_PATH 4096u

typedef struct TELLBUS_tCallbackStatus {
    TELLBUS_tStatus status;
} TELLBUS_tCallbackStatus;

typedef void (*TELLBUS_fRequest)(void* requestContext, char const* method, char const* parameters,
                                 int noReplyExpected, void* cookie);
typedef void (*TELLBUS_fResult)(TELLBUS_tCallbackStatus const* status, char const* result,
                                void* cookie);
typedef void (*TELLBUS_fSignal)(char const* name, char const* data, void* cookie);
typedef void (*TELLBUS_fStatus)(TELLBUS_tCallbackStatus const* status, void* cookie);
typedef void (*TELLBUS_fNameOwnerChanged)(char const* name, char const* oldOwner,
                                          char const* newOwner, void* cookie);

TELLBUS_API TELLBUS_tStatus TELLBUS_initialize(void);
TELLBUS_API TELLBUS_tStatus TELLBUS_getConnection(unsigned int reserved1, unsigned int reserved2,
                                                  void** connection);
TELLBUS_API TELLBUS_tStatus TELLBUS_closeConnection(void* connection);
TELLBUS_API void TELLBUS_shutdown(void);
TELLBUS_API TELLBUS_tStatus TELLBUS_registerService(void* connection, char const* name,
                                                    char const* path, unsigned int reserved,
                                                    TELLBUS_fRequest callback, void* cookie,
                                                    void** handle);
TELLBUS_API TELLBUS_tStatus TELLBUS_unregisterService(void* handle);
TELLBUS_API TELLBUS_tStatus TELLBUS_setIntrospection(void* handle, char const* xml);
TELLBUS_API TELLBUS_tStatus TELLBUS_asyncInvoke(void* connection, char const* busName,
                                                char const* objectPath, char const* method,
                                                char const* jsonParameters, bool noReplyExpected,
                                                unsigned int timeout, TELLBUS_fResult callback,
                                                void** token, void* cookie);
TELLBUS_API TELLBUS_tStatus TELLBUS_subscribe(void* connection, char const* objectPath,
                                              char const* signalName, TELLBUS_fSignal callback,
                                              void* cookie, void** handle);
TELLBUS_API TELLBUS_tStatus TELLBUS_subscribeOwnerChanged(void* connection, char const* name,
                                                          TELLBUS_fNameOwnerChanged callback,
                                                          void* cookie, void** handle);
TELLBUS_API TELLBUS_tStatus TELLBUS_asyncUnsubscribe(void* handle, TELLBUS_fStatus callback,
                                                     void* cookie);
TELLBUS_API TELLBUS_tStatus TELLBUS_nameHasOwner(void* connection, char const* name,
                                                 unsigned int* hasOwner);
TELLBUS_API TELLBUS_tStatus TELLBUS_emit(void* handle, char const* signalName,
                                         char const* jsonData);
TELLBUS_API TELLBUS_tStatus TELLBUS_returnResult(void* requestContext, char const* jsonResult);
TELLBUS_API TELLBUS_tStatus TELLBUS_returnError(void* requestContext, char const* errorName,
                                                char const* message);
TELLBUS_API void TELLBUS_freeReqContext(void* requestContext);

#ifdef __cplusplus
}
#endif

#endif
