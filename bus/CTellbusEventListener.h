#pragma once

#include "bus/CTellbusEventTypes.h"
#include "tellbus/tellbus.h"

#include <memory>

/**
 * The callbacks that are handed to the bus library.
 *
 * All of it runs on the library's thread. Each callback copies what it was given into records on
 * the heap and posts one pulse with their address to the event server, which for a request, whose
 * parameters are parsed, it may wake ahead of the pulse; it touches nothing else.
 * A pulse that cannot be sent is reported on standard output, and the event is lost.
 */
class CTellbusEventListener {
public:
    /** @param connection where pulses go; kept by reference and read at each send */
    explicit CTellbusEventListener(int& connection);

    // For the bus library. The last argument is the CTellbusEventCookie of the registration.
    static void onTellbusRequest(void* requestContext, char const* method, char const* parameters,
                                 int noReplyExpected, void* cookie) noexcept;
    /** Frees the cookie: a call has one result. */
    static void onTellbusResult(TELLBUS_tCallbackStatus const* status, char const* result,
                                void* cookie) noexcept;
    static void onTellbusSignal(char const* name, char const* data, void* cookie) noexcept;
    static void onTellbusStatus(TELLBUS_tCallbackStatus const* status, void* cookie) noexcept;
    static void onTellbusNameOwnerChanged(char const* name, char const* oldOwner,
                                          char const* newOwner, void* cookie) noexcept;

    void prepareAndForwardTellbusRequest(void* requestContext, char const* method,
                                         char const* parameters, int noReplyExpected,
                                         CTellbusEventCookie* cookie) const;
    /** Frees the cookie, also when the send failed. A null result becomes the empty text. */
    void prepareAndForwardTellbusResult(TELLBUS_tCallbackStatus const* status, char const* result,
                                        CTellbusEventCookie* cookie) const;
    /** Neither text may be null. */
    void prepareAndForwardTellbusSignal(char const* name, char const* data,
                                        CTellbusEventCookie* cookie) const;
    void prepareAndForwardTellbusStatus(TELLBUS_tCallbackStatus const* status,
                                        CTellbusEventCookie* cookie) const;
    /** No text may be null. */
    void prepareAndForwardTellbusNameChangeEvent(char const* name, char const* oldOwner,
                                                 char const* newOwner,
                                                 CTellbusEventCookie* cookie) const;

    /**
     * Posts one pulse, at the lowest priority of SCHED_RR.
     * @param event belongs to the receiver once it is sent, and stays the caller's otherwise
     * @return whether it was sent; if not, that has been reported
     */
    bool sendEventPulse(CTellbusEvent const* event, int const& eventCode) const;

private:
    template <class Record>
    void forward(std::unique_ptr<Record> record, CTellbusEventCookie const& cookie,
                 char const* text = nullptr) const;

    int& m_connection;
};
