#pragma once

#include "bus/ArrivalBounds.h"

#include <utility>

class CTellbusEventListener;

/** What a pulse of the event server points to. */
class CTellbusEvent {
public:
    /** The pulse codes. Accessory and Stop come without an event. */
    enum Code {
        Request = 1,    ///< data is a CTellbusRequest
        Result = 2,     ///< data is a CTellbusResult
        Signal = 3,     ///< data is a CTellbusSignal
        Status = 4,     ///< data is an unsigned int
        NameChange = 5, ///< data is a CTellbusNameChange
        Accessory = 6,  ///< the pulse value is the CTellbusRouterCookie itself
        Stop = 7,       ///< the pulse value means nothing
    };

    CTellbusEvent() = default;
    CTellbusEvent(void* eventData, void* eventContext) : data(eventData), context(eventContext) {}

    /** The record of the event's kind. The event server frees it, the event does not. */
    void* data = nullptr;
    /** The context of the CTellbusEventCookie through which the event came; not owned. */
    void* context = nullptr;
    /** Whether the record came with a text that takes so much memory that it is given back. */
    bool longText = false;
};

/**
 * The user data given to the bus library with a registration.
 *
 * Read on the library's thread, so it does not change once it has been given away.
 */
class CTellbusEventCookie {
public:
    CTellbusEventCookie() = default;
    CTellbusEventCookie(CTellbusEventListener const* eventListener, int const& code,
                        void* eventContext)
        : listener(eventListener), eventCode(code), context(eventContext) {}

    CTellbusEventListener const* listener = nullptr;
    /** The pulse code, a CTellbusEvent::Code, of what comes through this cookie. */
    int eventCode = 0;
    /** For requests the CTellbusRequestTarget, for all others the CTellbusRouterCookie. */
    void* context = nullptr;
};

/** To whom an event goes. Used by the main thread only; the library's thread carries its address.
 */
class CTellbusRouterCookie {
public:
    CTellbusRouterCookie() = default;
    CTellbusRouterCookie(void* eventTarget, unsigned int const& idOfTarget,
                         unsigned int const& idOfCookie, void* callerContext)
        : target(eventTarget), context(callerContext), cookieId(idOfCookie), targetId(idOfTarget) {}

    /** The target interface object, null once it has unregistered. */
    void* target = nullptr;
    /** The caller's own, handed back to the handler. */
    void* context = nullptr;
    /** The id given to the caller, the first argument of the handler. */
    unsigned int cookieId = 0;
    /** The target's id when it registered. */
    unsigned int targetId = 0;
};

/** A client's record of one subscription or one pending call. Frees nothing that it points to. */
class CTellbusSubscription {
public:
    CTellbusSubscription() = default;
    CTellbusSubscription(unsigned int const& subscriptionId, void* subscriptionHandle,
                         CTellbusEventCookie* eventCookie,
                         CTellbusRouterCookie* cookieOfRouter = nullptr)
        : id(subscriptionId), handle(subscriptionHandle), cookie(eventCookie),
          routerCookie(cookieOfRouter) {}

    unsigned int id = 0;
    /** The bus library's; null for a pending call. */
    void* handle = nullptr;
    /** Of the registration. That of a pending call may be freed at any time by the listener. */
    CTellbusEventCookie* cookie = nullptr;
    /** Of the registration too. The way to it that is safe when `cookie` may be gone. */
    CTellbusRouterCookie* routerCookie = nullptr;
    /** Of the unsubscribe under way, null before. */
    CTellbusEventCookie* completionCookie = nullptr;
};

/** The reply to a call. */
class CTellbusResult {
public:
    CTellbusResult() = default;
    /** Takes over `resultText`, an array made with new. */
    CTellbusResult(char* resultText, unsigned int resultStatus)
        : text(resultText), status(resultStatus) {}
    ~CTellbusResult() { delete[] text; }
    CTellbusResult(CTellbusResult const&) = delete;
    CTellbusResult& operator=(CTellbusResult const&) = delete;

    /** JSON; empty, not null, when the call failed. */
    char* text = nullptr;
    /** The library's status word. */
    unsigned int status = 0;
};

/** A signal that was subscribed to. */
class CTellbusSignal {
public:
    CTellbusSignal() = default;
    /** Takes over both texts, arrays made with new. */
    CTellbusSignal(char* signalName, char* signalData) : name(signalName), data(signalData) {}
    /** The same, with the room that the signal takes while it waits. */
    CTellbusSignal(char* signalName, char* signalData, ArrivalBounds::Place room)
        : name(signalName), data(signalData), place(std::move(room)) {}
    ~CTellbusSignal() {
        delete[] name;
        delete[] data;
    }
    CTellbusSignal(CTellbusSignal const&) = delete;
    CTellbusSignal& operator=(CTellbusSignal const&) = delete;

    char* name = nullptr;
    /** JSON. */
    char* data = nullptr;
    ArrivalBounds::Place place;
};

/** A bus name that got, lost or changed its owner. */
class CTellbusNameChange {
public:
    CTellbusNameChange() = default;
    /** Takes over the three texts, arrays made with new. */
    CTellbusNameChange(char* busName, char* ownerBefore, char* ownerNow)
        : name(busName), oldOwner(ownerBefore), newOwner(ownerNow) {}
    ~CTellbusNameChange() {
        delete[] name;
        delete[] oldOwner;
        delete[] newOwner;
    }
    CTellbusNameChange(CTellbusNameChange const&) = delete;
    CTellbusNameChange& operator=(CTellbusNameChange const&) = delete;

    char* name = nullptr;
    char* oldOwner = nullptr;
    char* newOwner = nullptr;
};
