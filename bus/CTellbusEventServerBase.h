#pragma once

#include "bus/CTellbusEventListener.h"

#include <memory>
#include <vector>

class CTellbusNameChange;
class CTellbusRequest;
class CTellbusResult;
class CTellbusSignal;

/**
 * The main loop of the service: takes the events that the bus library's thread posted and calls
 * the handlers, one at a time, on the thread that called start().
 *
 * A fault while setting up or in the loop prints a line on standard output and ends the process
 * with exit(0). All operations belong to the main thread.
 */
class CTellbusEventServerBase {
public:
    /** Opens the channel and the bus connection. @param channelFlags for ChannelCreate */
    explicit CTellbusEventServerBase(unsigned int const& channelFlags);
    /** Disables the bus. The channel stays and goes with the process. */
    ~CTellbusEventServerBase();
    CTellbusEventServerBase(CTellbusEventServerBase const&) = delete;
    CTellbusEventServerBase& operator=(CTellbusEventServerBase const&) = delete;

    /** Disables the bus, then has start() return after the events that are queued by now. */
    virtual void stop();

    // The handlers. What comes in is freed after the handler has returned. The last argument is the
    // context of the registration.
    virtual void processTellbusRequest(CTellbusRequest* request, void* context);
    virtual void processTellbusResult(CTellbusResult* result, void* context);
    virtual void processTellbusSignal(CTellbusSignal const* signal, void* context);
    virtual void processTellbusStatus(unsigned int status, void* context);
    virtual void processTellbusNameChange(CTellbusNameChange const* change, void* context);
    /** @param cookie the pulse's value as it was sent */
    virtual void processAccessoryEvent(void* cookie);

    /** Opens the channel and a connection to it. False, with a line printed, on failure. */
    bool initChannelCOM(unsigned int const& channelFlags);
    /** Opens the bus connection. False, with a line printed, on failure. */
    bool initTellbus();

    /**
     * Handles events until stopped. An exception of a handler leaves it, with everything of that
     * event freed.
     */
    void start();

    /**
     * Ends all service registrations and closes the bus; no callback comes afterwards. Does nothing
     * when the bus is closed already.
     */
    void disableTellbus();

    /**
     * Publishes a service.
     * @param context the CTellbusRequestTarget that gets its requests
     * @return the registration's handle, null on failure
     */
    void* registerWithTellbus(char const* name, char const* path, void* context);
    /** Ends one registration. @return the library's status, 0 for an unknown handle */
    unsigned int unregisterWithTellbus(void* handle);

    /**
     * Has processAccessoryEvent() called by the loop. Any thread, for as long as this lives.
     * @param registration what registerAsAccessoryEventTarget() returned
     * @return whether it was posted; if not, that has been reported
     */
    bool postAccessoryEvent(void* registration);

    /** The bus library's connection, null when there is none. */
    void* busConnection() const { return m_busConnection; }
    /** Whether start() loops. Stays true after an exception has left it. */
    bool isRunning() const { return m_running; }

protected:
    /** What event cookies point to. */
    CTellbusEventListener const& listener() const { return m_listener; }
    /** Keeps a cookie that the bus library may still use, until the bus is closed. */
    void keepUntilDisabled(std::unique_ptr<CTellbusEventCookie> cookie);

private:
    bool post(int code, void* value);
    void dispatch(int code, void* value);
    template <class Record, class Argument>
    void handle(CTellbusEvent const& event,
                void (CTellbusEventServerBase::*handler)(Argument, void*));
    void handleRequest(CTellbusEvent const& event);
    void handleStatus(CTellbusEvent const& event);
    void handleRecord(int code, CTellbusEvent const& event);

    std::vector<std::unique_ptr<CTellbusEventCookie>> m_cookies;
    std::vector<void*> m_registrations;
    int m_serverChannel = -1;
    int m_connection = -1;
    CTellbusEventListener m_listener;
    void* m_busConnection = nullptr;
    bool m_running = false;
};
