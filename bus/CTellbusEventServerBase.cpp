// One thread, one queue. The bus library's thread posts pulses whose value is the address of a
// CTellbusEvent; start() takes them in the order of the channel and frees event and record when the
// handler is done, be it by an exception. Since every handler runs here, the service needs no lock.
#include "bus/CTellbusEventServerBase.h"

#include "bus/CTellbusRequest.h"
#include "bus/PulsePriority.h"
#include "bus/Report.h"
#include "bus/TellbusStatus.h"
#include "platform/FreeMemory.h"
#include "platform/neutrino.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {

[[noreturn]] void fail(char const* line) {
    report("%s", line);
    std::exit(0);
}

void reportNotImplemented(char const* handler) {
    report("CTellbusEventServerBase::%s - function not implemented. May need to be overridden in "
           "child class.\n",
           handler);
}

/** The end of a request: nobody will answer one that wants no reply, so its context goes too. */
struct EndOfRequest {
    void operator()(CTellbusRequest* request) const {
        if (request->noReplyExpected) {
            request->freeRequestContext();
        }
        delete request;
    }
};

} // namespace

CTellbusEventServerBase::CTellbusEventServerBase(unsigned int const& channelFlags)
    : m_listener(m_connection) {
    if (!initChannelCOM(channelFlags) || !initTellbus()) {
        std::exit(0);
    }
}

CTellbusEventServerBase::~CTellbusEventServerBase() {
    disableTellbus();
}

bool CTellbusEventServerBase::initChannelCOM(unsigned int const& channelFlags) {
    m_serverChannel = ChannelCreate(channelFlags);
    if (m_serverChannel == -1) {
        report("CTellbusEventServerBase::initChannelCOM() - ChannelCreate failed\n");
        return false;
    }
    m_connection = ConnectAttach(0, 0, m_serverChannel, _NTO_SIDE_CHANNEL, 0);
    if (m_connection == -1) {
        report("Could not attach connectionHandle: %d to serverChannel: %d\n", m_connection,
               m_serverChannel);
        return false;
    }
    return true;
}

bool CTellbusEventServerBase::initTellbus() {
    TELLBUS_tStatus status = TELLBUS_initialize();
    if (isTellbusFailure(status)) {
        report("CTellbusEventServerBase: TELLBUS_initialize error 0x%0X\n", status);
        return false;
    }
    status = TELLBUS_getConnection(0, 0, &m_busConnection);
    if (isTellbusFailure(status)) {
        report("CTellbusEventServerBase: TELLBUS_getConnection error 0x%0X\n", status);
        return false;
    }
    return true;
}

void CTellbusEventServerBase::start() {
    m_running = true;
    while (m_running) {
        _pulse pulse{};
        if (MsgReceivePulse(m_serverChannel, &pulse, sizeof pulse, nullptr) == -1) {
            fail("CTellbusEventServerBase: MsgReceivePulse error!\n");
        }
        dispatch(pulse.code, pulse.value.sival_ptr);
    }
}

void CTellbusEventServerBase::dispatch(int code, void* value) {
    switch (code) {
    case CTellbusEvent::Accessory:
        processAccessoryEvent(value);
        return;
    case CTellbusEvent::Stop:
        m_running = false;
        return;
    default:
        break;
    }
    std::unique_ptr<CTellbusEvent> const event(static_cast<CTellbusEvent*>(value));
    if (event == nullptr) {
        fail("CTellbusEventServerBase: pEvent is NULL!\n");
    }
    handleRecord(code, *event);
    if (event->longText) {
        // The allocator would keep what the longest text there ever was has taken.
        giveBackFreeMemory();
    }
}

void CTellbusEventServerBase::handleRecord(int code, CTellbusEvent const& event) {
    switch (code) {
    case CTellbusEvent::Request:
        return handleRequest(event);
    case CTellbusEvent::Result:
        return handle<CTellbusResult>(event, &CTellbusEventServerBase::processTellbusResult);
    case CTellbusEvent::Signal:
        return handle<CTellbusSignal>(event, &CTellbusEventServerBase::processTellbusSignal);
    case CTellbusEvent::Status:
        return handleStatus(event);
    case CTellbusEvent::NameChange:
        return handle<CTellbusNameChange>(event,
                                          &CTellbusEventServerBase::processTellbusNameChange);
    default:
        fail("CTellbusEventServerBase: invalid or unknown event code.\n");
    }
}

template <class Record, class Argument>
void CTellbusEventServerBase::handle(CTellbusEvent const& event,
                                     void (CTellbusEventServerBase::*handler)(Argument, void*)) {
    std::unique_ptr<Record> const record(static_cast<Record*>(event.data));
    (this->*handler)(record.get(), event.context);
}

void CTellbusEventServerBase::handleRequest(CTellbusEvent const& event) {
    std::unique_ptr<CTellbusRequest, EndOfRequest> const request(
        static_cast<CTellbusRequest*>(event.data));
    processTellbusRequest(request.get(), event.context);
}

void CTellbusEventServerBase::handleStatus(CTellbusEvent const& event) {
    std::unique_ptr<unsigned int> const status(static_cast<unsigned int*>(event.data));
    processTellbusStatus(*status, event.context);
}

void CTellbusEventServerBase::stop() {
    disableTellbus();
    post(CTellbusEvent::Stop, nullptr);
}

bool CTellbusEventServerBase::postAccessoryEvent(void* registration) {
    return post(CTellbusEvent::Accessory, registration);
}

bool CTellbusEventServerBase::post(int code, void* value) {
    bool const isPosted =
        MsgSendPulse(m_connection, pulsePriority(), code, reinterpret_cast<std::intptr_t>(value))
        != -1;
    if (!isPosted) {
        report("CTellbusEventServerBase: MsgSendPulse error!\n");
    }
    return isPosted;
}

void CTellbusEventServerBase::disableTellbus() {
    if (m_busConnection == nullptr) {
        return;
    }
    for (void* registration : m_registrations) {
        TELLBUS_tStatus const status = TELLBUS_unregisterService(registration);
        if (isTellbusFailure(status)) {
            report("CTellbusEventServerBase: TELLBUS_unregisterService error: %d, registration "
                   "handle: %p\n",
                   tellbusCode(status), registration);
        }
    }
    m_registrations.clear();
    TELLBUS_tStatus const status = TELLBUS_closeConnection(m_busConnection);
    if (isTellbusFailure(status)) {
        report("CTellbusEventServerBase: TELLBUS_closeConnection error: %d\n", tellbusCode(status));
    } else {
        m_busConnection = nullptr;
    }
    TELLBUS_shutdown();
    // Only now: until here the library's thread may have been reading them.
    m_cookies.clear();
}

void* CTellbusEventServerBase::registerWithTellbus(char const* name, char const* path,
                                                   void* context) {
    m_cookies.push_back(
        std::make_unique<CTellbusEventCookie>(&m_listener, CTellbusEvent::Request, context));
    void* handle = nullptr;
    TELLBUS_tStatus const status = TELLBUS_registerService(m_busConnection, name, path, 0,
                                                           CTellbusEventListener::onTellbusRequest,
                                                           m_cookies.back().get(), &handle);
    if (isTellbusFailure(status)) {
        report("CTellbusEventServerBase: TELLBUS_registerService error 0x%0X\n", status);
        return nullptr;
    }
    m_registrations.push_back(handle);
    return handle;
}

unsigned int CTellbusEventServerBase::unregisterWithTellbus(void* handle) {
    auto const found = std::find(m_registrations.begin(), m_registrations.end(), handle);
    if (found == m_registrations.end()) {
        return 0;
    }
    TELLBUS_tStatus const status = TELLBUS_unregisterService(handle);
    if (isTellbusFailure(status)) {
        report("CTellbusEventServerBase: TELLBUS_unregisterService error 0x%0X\n", status);
    } else {
        m_registrations.erase(found);
    }
    return status;
}

void CTellbusEventServerBase::keepUntilDisabled(std::unique_ptr<CTellbusEventCookie> cookie) {
    m_cookies.push_back(std::move(cookie));
}

void CTellbusEventServerBase::processTellbusRequest(CTellbusRequest*, void*) {
    reportNotImplemented("processTellbusRequest");
}

void CTellbusEventServerBase::processTellbusResult(CTellbusResult*, void*) {
    reportNotImplemented("processTellbusResult");
}

void CTellbusEventServerBase::processTellbusSignal(CTellbusSignal const*, void*) {
    // Names the result handler, and whoever reads this output knows it by that name.
    // Test: CTellbusEventServerBaseDefaults.OfTheSignalHandlerNamesTheResultHandler
    reportNotImplemented("processTellbusResult");
}

void CTellbusEventServerBase::processTellbusStatus(unsigned int, void*) {
    reportNotImplemented("processTellbusStatus");
}

void CTellbusEventServerBase::processTellbusNameChange(CTellbusNameChange const*, void*) {
    reportNotImplemented("processTellbusNameChange");
}

void CTellbusEventServerBase::processAccessoryEvent(void*) {
    reportNotImplemented("processAccessoryEvent");
}
