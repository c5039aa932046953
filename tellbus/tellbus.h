/**
 * libtellbus: calls, signals and services on the unit's service bus.
 *
 * Texts are JSON by agreement between services; the library only sees to it that they are UTF-8 and
 * carries them byte for byte. All strings end with a zero byte. What is passed to an operation
 * stays the caller's and may go when the operation returns; what is passed to a callback is the
 * library's and goes when the callback returns.
 *
 * THREADS. Every operation may be called from any thread. Every callback runs on the one thread of
 * the library, one at a time, with no lock held: a callback may call every operation except those
 * that wait for the bus (they say so), and holds up all other callbacks while it runs; what arrives
 * during that time waits in the bus. Calls and signals of one thread reach the bus in the order in
 * which they were made. A message leaves while the operation that sends it runs, unless the bus is
 * slow to read.
 *
 * COOKIES are given back to the callback as they came. What one points to has to live until no
 * callback with it can follow: after its one result, its unsubscribe, its unregister or the close.
 *
 * HANDLES are opaque and never followed. A handle that is null, of another kind, given up or made
 * up is answered with TELLBUS_E_HANDLE, however long ago that was.
 *
 * WITHOUT A BUS. When the bus goes away, every call that waits fails with TELLBUS_E_DISCONNECTED,
 * every watched name that had an owner loses it, and whatever sends is answered with
 * TELLBUS_E_DISCONNECTED. The library tries to reach the bus again by itself, with a pause that
 * grows from 20 to 320 milliseconds. When it is back, the names of the registered services are
 * taken again (behind another process if that was faster), subscriptions are renewed and owners
 * are told. All handles stay valid. Requests of the old bus can no longer be answered, only freed.
 *
 * ENDING. What was sent before exit() or the return from main still reaches the bus: the end of the
 * process waits for it, at most two seconds if the bus does not read. No callback begins then.
 *
 * FORK. The library belongs to the process that initialized it. A child made by fork() has its
 * parent's sockets but no library thread: it may call exec or exit, which leave the parent's
 * connections alone, and none of these operations.
 *
 * TRUST. Signals come from the owner of the sender's name only. An answer comes from the bus or the
 * connection that was called; for a call to a well-known name it is the bus's policy, which by
 * default lets no reply pass that nobody asked for, that keeps others from answering.
 *
 * FAULTS. Nothing here ends the process and nothing is thrown; what a callback throws ends there
 * and keeps no other callback from being called. What goes wrong where no caller can
 * be told is one line on standard error, at most one a second for the same cause.
 */
#ifndef TELLBUS_TELLBUS_H
#define TELLBUS_TELLBUS_H

/* NOLINTBEGIN(modernize-*): C programs include this too. */

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define TELLBUS_API __attribute__((visibility("default")))

/** Bits 31 and 30: severity; low 28 bits: a code. A word with bit 31 set is a failure. */
typedef uint32_t TELLBUS_tStatus;

/** Whether a status is a failure. */
#define TELLBUS_FAILED(status) (((status)&0x80000000u) != 0)

/** It is done, or on its way. */
#define TELLBUS_OK 0u
/** No failure: the caller wanted no reply and was sent none. */
#define TELLBUS_NO_REPLY_WANTED 0x40000001u

/** A null pointer where something is needed. */
#define TELLBUS_E_ARGUMENT 0x80000001u
/** The handle does not stand for anything of this kind. */
#define TELLBUS_E_HANDLE 0x80000002u
/** A name, path or member that D-Bus does not allow, or that is reserved. */
#define TELLBUS_E_NAME 0x80000003u
/** The text is not valid UTF-8. */
#define TELLBUS_E_TEXT 0x80000004u
/** The text is longer than TELLBUS_MAX_TEXT bytes. */
#define TELLBUS_E_TOO_LARGE 0x80000005u
/** TELLBUS_initialize comes first. */
#define TELLBUS_E_NOT_INITIALIZED 0x80000006u
/** There is no bus to connect to, or it does not let us in. */
#define TELLBUS_E_NO_BUS 0x80000007u
/** The bus is away at the moment, or went before it could answer. */
#define TELLBUS_E_DISCONNECTED 0x80000008u
/** No answer in time, from the service or from the bus. */
#define TELLBUS_E_TIMEOUT 0x80000009u
/** The service answers with an error, of whatever name, or the bus with one without code here. */
#define TELLBUS_E_REMOTE 0x8000000Au
/** Nobody owns the name that was called. */
#define TELLBUS_E_NO_SERVICE 0x8000000Bu
/** Another process owns the name. */
#define TELLBUS_E_NAME_TAKEN 0x8000000Cu
/** The connection already serves this path under this name. */
#define TELLBUS_E_EXISTS 0x8000000Du
/** The request has had its reply. */
#define TELLBUS_E_REPLIED 0x8000000Eu
/** The connection was closed meanwhile. */
#define TELLBUS_E_CLOSED 0x8000000Fu
/**
 * 128 MiB wait for a bus that does not read, or a limit of the bus is reached. What a client does
 * not read waits in the bus, within the bus's limits: if max_outgoing_bytes is not far below
 * max_incoming_bytes, the bus stops reading the sender before it drops anything.
 */
#define TELLBUS_E_QUEUE_FULL 0x80000010u
/** This waits for the bus and cannot do so in a callback. */
#define TELLBUS_E_THREAD 0x80000011u
/** The answer is not one string. */
#define TELLBUS_E_REPLY 0x80000012u
/** The policy of the bus forbids it. */
#define TELLBUS_E_REFUSED 0x80000013u
/** The service went away without an answer. */
#define TELLBUS_E_NO_REPLY 0x80000014u
/** Out of memory. */
#define TELLBUS_E_MEMORY 0x80000015u
/** A fault of the library or of the system under it; a line says which. */
#define TELLBUS_E_INTERNAL 0x80000016u

/** Longest text in bytes: what a bus with its usual limit of 32 MiB carries, less the header. */
#define TELLBUS_MAX_TEXT 33488896u
/** Longest object path in bytes. */
#define TELLBUS_MAX_PATH 4096u

/** What a callback is told; the status is the first word. */
typedef struct TELLBUS_tCallbackStatus {
    TELLBUS_tStatus status;
} TELLBUS_tCallbackStatus;

/**
 * A call for a service has arrived.
 *
 * requestContext stays valid until TELLBUS_freeReqContext, which is needed once for every request.
 * parameters is null for a call without argument. noReplyExpected is 0 or 1.
 */
typedef void (*TELLBUS_fRequest)(void* requestContext, char const* method, char const* parameters,
                                 int noReplyExpected, void* cookie);
/**
 * The outcome of a call: its answer, or a failure and null. An answer without argument is "".
 */
typedef void (*TELLBUS_fResult)(TELLBUS_tCallbackStatus const* status, char const* result,
                                void* cookie);
/**
 * A signal has arrived. data is "" for a signal without argument, never null.
 */
typedef void (*TELLBUS_fSignal)(char const* name, char const* data, void* cookie);
/**
 * An unsubscribe is done.
 */
typedef void (*TELLBUS_fStatus)(TELLBUS_tCallbackStatus const* status, void* cookie);
/**
 * A name has another owner: unique names, "" for nobody, never null.
 */
typedef void (*TELLBUS_fNameOwnerChanged)(char const* name, char const* oldOwner,
                                          char const* newOwner, void* cookie);

/**
 * Starts the library's thread. Comes before all others; each successful call needs one
 * TELLBUS_shutdown. There is one thread at a time: after a shutdown in a callback this waits for
 * the end of that callback, at most 10 seconds, and in that callback it fails with
 * TELLBUS_E_THREAD.
 */
TELLBUS_API TELLBUS_tStatus TELLBUS_initialize(void);
/**
 * Opens a connection of its own to the bus that started this process, if one did
 * (DBUS_STARTER_ADDRESS), or else to the system bus (DBUS_SYSTEM_BUS_ADDRESS names another one).
 *
 * Waits for the bus, at most 10 seconds; not in a callback. Both reserved arguments are 0. Without
 * a bus it fails at once; only a connection that once worked comes back by itself. Beside the last
 * TELLBUS_shutdown it fails with TELLBUS_E_CLOSED or TELLBUS_E_NOT_INITIALIZED.
 */
TELLBUS_API TELLBUS_tStatus TELLBUS_getConnection(unsigned int reserved1, unsigned int reserved2,
                                                  void** connection);
/**
 * Closes a connection with all that belongs to it; the handles of its services, subscriptions and
 * requests are stale from then on.
 *
 * Before this returns, calls that wait fail with TELLBUS_E_CLOSED, unsubscribes are told that they
 * are done, and what was sent is written. No callback of the connection runs after that, except the
 * one that closes it itself; in a callback those of the failing calls run inside this. Waits at
 * most 10 seconds for a callback that runs, and then fails with TELLBUS_E_TIMEOUT; the connection
 * closes when that callback is over. Waits at most two seconds for a bus that does not take what
 * was sent, which is lost then: the connection is closed, and this fails with TELLBUS_E_TIMEOUT.
 */
TELLBUS_API TELLBUS_tStatus TELLBUS_closeConnection(void* connection);
/**
 * Closes all connections and ends the library's thread, if this is the last of as many calls as
 * TELLBUS_initialize had, the newest connection first. In a callback the thread ends after that
 * callback. More calls do nothing.
 * What TELLBUS_closeConnection says of callbacks holds for each connection.
 */
TELLBUS_API void TELLBUS_shutdown(void);
/**
 * Takes a name on the bus and receives the calls for an object path under it.
 *
 * Waits for the bus, at most 10 seconds; not in a callback. A connection may have any number of
 * services; several of them may share a name or a path, but not both. The name must be a valid
 * interface name too. reserved is 0.
 *
 * Requests may arrive before this returns, as those do for which the bus started this process; the
 * handle is stored before the first of them. On failure it is null, and the callback neither runs
 * nor is called again when this returns. To make sure of that it waits for a callback that runs, at
 * most 10 seconds more.
 *
 * Calls with any interface or none are delivered; those with an argument that is not one string
 * are answered with org.freedesktop.DBus.Error.InvalidArgs, those for other paths with
 * org.freedesktop.DBus.Error.UnknownObject; if they want no reply they are dropped with a line.
 * org.freedesktop.DBus.Introspectable, org.freedesktop.DBus.Peer and
 * org.freedesktop.DBus.Properties are answered by the library, on each path up to the root; there
 * are no properties.
 */
TELLBUS_API TELLBUS_tStatus TELLBUS_registerService(void* connection, char const* name,
                                                    char const* path, unsigned int reserved,
                                                    TELLBUS_fRequest callback, void* cookie,
                                                    void** handle);
/**
 * Gives up an object path, and its name with the last path under it.
 *
 * When this returns, the callback neither runs nor is called again, unless it is that callback that
 * unregisters. Requests that were delivered may still be answered. Waits at most 10 seconds for a
 * callback that runs; a callback must therefore not wait for the thread that unregisters.
 */
TELLBUS_API TELLBUS_tStatus TELLBUS_unregisterService(void* handle);
/**
 * Gives the introspection data of a service: a D-Bus node document, of which the interface elements
 * are shown. Null takes it back.
 *
 * Without it the file dbus-1/interfaces/<name>.xml in XDG_DATA_HOME or the first of XDG_DATA_DIRS
 * (/usr/local/share:/usr/share) that has one is shown, read when somebody asks.
 */
TELLBUS_API TELLBUS_tStatus TELLBUS_setIntrospection(void* handle, char const* xml);
/**
 * Calls a method of a service. jsonParameters may be null: the call has no argument then.
 *
 * If a reply is expected and the result is no failure, the callback is called exactly once: with
 * the answer, an error, TELLBUS_E_TIMEOUT, TELLBUS_E_DISCONNECTED or TELLBUS_E_CLOSED. If the
 * result is a failure, or no reply is expected, it is never called, and may be null in the latter
 * case.
 *
 * timeout is in milliseconds; 0 means 25 seconds, UINT_MAX no limit. token, which may be null, gets
 * a value that no other call has. The interface of the call is the bus name if it can be one, as a
 * unique name cannot; the call has none then.
 */
TELLBUS_API TELLBUS_tStatus TELLBUS_asyncInvoke(void* connection, char const* busName,
                                                char const* objectPath, char const* method,
                                                char const* jsonParameters, bool noReplyExpected,
                                                unsigned int timeout, TELLBUS_fResult callback,
                                                void** token, void* cookie);
/**
 * Receives the signals of one member from one object, of whatever interface, from the owner of the
 * name that the path spells, as /com/example/A spells com.example.A, and from nobody else.
 *
 * Works also while the bus is away; fails with TELLBUS_E_QUEUE_FULL as a call does. A signal that
 * follows a call which this thread makes later on the same connection is not missed. A signal whose
 * argument is not one string is dropped.
 */
TELLBUS_API TELLBUS_tStatus TELLBUS_subscribe(void* connection, char const* objectPath,
                                              char const* signalName, TELLBUS_fSignal callback,
                                              void* cookie, void** handle);
/**
 * Is told of each change of the owner of a bus name. Works also while the bus is away; the owner
 * goes with the bus and comes back with it. A subscriber that came while the bus was away is
 * then told, too, who owns the name. Fails with TELLBUS_E_QUEUE_FULL as a call does.
 */
TELLBUS_API TELLBUS_tStatus TELLBUS_subscribeOwnerChanged(void* connection, char const* name,
                                                          TELLBUS_fNameOwnerChanged callback,
                                                          void* cookie, void** handle);
/**
 * Ends a subscription of either kind; the handle is stale at once.
 *
 * The callback, which may be null, is called once, and nothing comes from the subscription after
 * that. If the result is a failure it is never called.
 */
TELLBUS_API TELLBUS_tStatus TELLBUS_asyncUnsubscribe(void* handle, TELLBUS_fStatus callback,
                                                     void* cookie);
/**
 * Asks the bus whether a name has an owner, and stores 1 or 0; on failure it stores nothing.
 * Waits for the bus, at most 10 seconds; not in a callback.
 */
TELLBUS_API TELLBUS_tStatus TELLBUS_nameHasOwner(void* connection, char const* name,
                                                 unsigned int* hasOwner);
/**
 * Sends a signal from the path of a registered service, with its name as interface, to all who
 * subscribed to it.
 */
TELLBUS_API TELLBUS_tStatus TELLBUS_emit(void* handle, char const* signalName,
                                         char const* jsonData);
/**
 * Answers a request, at any time and from any thread, once. The context stays until it is freed.
 *
 * To a request that wants no reply nothing is sent: TELLBUS_NO_REPLY_WANTED. What fails does not
 * count: after a text that is refused or TELLBUS_E_QUEUE_FULL the request can still be answered.
 * The caller of a request that is freed after a text that was too long or not UTF-8 gets an error
 * that says so: org.freedesktop.DBus.Error.LimitsExceeded or org.freedesktop.DBus.Error.Failed.
 */
TELLBUS_API TELLBUS_tStatus TELLBUS_returnResult(void* requestContext, char const* jsonResult);
/**
 * Like TELLBUS_returnResult, with a D-Bus error name such as com.example.Error and a message.
 */
TELLBUS_API TELLBUS_tStatus TELLBUS_returnError(void* requestContext, char const* errorName,
                                                char const* message);
/**
 * Gives up a request. If nobody ever tried to answer it, its caller waits until its own time-out.
 * A context that is null or was freed before does nothing.
 */
TELLBUS_API void TELLBUS_freeReqContext(void* requestContext);

#ifdef __cplusplus
}
#endif

/* NOLINTEND(modernize-*) */

#endif
