// The one crossing between the threads. A record is owned by the callback that makes it until its
// pulse is in the channel, and from then on by CTellbusEventServerBase::start(), which frees it
// after the handler. There is no lock because nothing is ever seen from both sides.
#include "bus/CTellbusEventListener.h"

#include "bus/ArrivalBounds.h"
#include "bus/CTellbusRequest.h"
#include "bus/PulsePriority.h"
#include "bus/Report.h"
#include "platform/WakeAhead.h"
#include "platform/neutrino.h"

#include <cstring>

namespace {

CTellbusEventCookie* asCookie(void* userData) {
    return static_cast<CTellbusEventCookie*>(userData);
}

/** A hundred times what a real request or answer has. */
constexpr std::size_t LONG_BYTES = 256 * std::size_t{1024};

bool isLong(char const* text) {
    return text != nullptr && std::strlen(text) >= LONG_BYTES;
}

/** A copy that the record frees with delete[]. */
char* copyOf(char const* text) {
    std::size_t const size = std::strlen(text) + 1;
    auto copy = std::make_unique<char[]>(size);
    std::memcpy(copy.get(), text, size);
    return copy.release();
}

/** Answers a call for which there is no room. */
void refuse(void* requestContext, int noReplyExpected) {
    if (noReplyExpected == 0) {
        TELLBUS_returnError(requestContext, CTellbusRequest::ERRORNAME,
                            "Too many calls wait already; call again later");
    }
    TELLBUS_freeReqContext(requestContext);
}

} // namespace

CTellbusEventListener::CTellbusEventListener(int& connection) : m_connection(connection) {}

void CTellbusEventListener::onTellbusRequest(void* requestContext, char const* method,
                                             char const* parameters, int noReplyExpected,
                                             void* cookie) noexcept {
    asCookie(cookie)->listener->prepareAndForwardTellbusRequest(requestContext, method, parameters,
                                                                noReplyExpected, asCookie(cookie));
}

void CTellbusEventListener::onTellbusResult(TELLBUS_tCallbackStatus const* status,
                                            char const* result, void* cookie) noexcept {
    asCookie(cookie)->listener->prepareAndForwardTellbusResult(status, result, asCookie(cookie));
}

void CTellbusEventListener::onTellbusSignal(char const* name, char const* data,
                                            void* cookie) noexcept {
    asCookie(cookie)->listener->prepareAndForwardTellbusSignal(name, data, asCookie(cookie));
}

void CTellbusEventListener::onTellbusStatus(TELLBUS_tCallbackStatus const* status,
                                            void* cookie) noexcept {
    asCookie(cookie)->listener->prepareAndForwardTellbusStatus(status, asCookie(cookie));
}

void CTellbusEventListener::onTellbusNameOwnerChanged(char const* name, char const* oldOwner,
                                                      char const* newOwner, void* cookie) noexcept {
    asCookie(cookie)->listener->prepareAndForwardTellbusNameChangeEvent(name, oldOwner, newOwner,
                                                                        asCookie(cookie));
}

void CTellbusEventListener::prepareAndForwardTellbusRequest(void* requestContext,
                                                            char const* method,
                                                            char const* parameters,
                                                            int noReplyExpected,
                                                            CTellbusEventCookie* cookie) const {
    ArrivalBounds::Place place;
    if (ArrivalBounds::isSet()) {
        place = ArrivalBounds::take(parameters == nullptr ? 0 : std::strlen(parameters));
        if (place == nullptr) {
            refuse(requestContext, noReplyExpected);
            return;
        }
    }
    // To parse the parameters of most requests takes about as long as to wake the main thread.
    wakeAhead(m_connection);
    auto request = std::make_unique<CTellbusRequest>(requestContext, method, parameters,
                                                     noReplyExpected, nullptr);
    request->place = std::move(place);
    forward(std::move(request), *cookie, parameters);
}

void CTellbusEventListener::prepareAndForwardTellbusResult(TELLBUS_tCallbackStatus const* status,
                                                           char const* result,
                                                           CTellbusEventCookie* cookie) const {
    std::unique_ptr<CTellbusEventCookie> const servesOnce(cookie);
    forward(
        std::make_unique<CTellbusResult>(copyOf(result == nullptr ? "" : result), status->status),
        *cookie, result);
}

void CTellbusEventListener::prepareAndForwardTellbusSignal(char const* name, char const* data,
                                                           CTellbusEventCookie* cookie) const {
    ArrivalBounds::Place place;
    if (ArrivalBounds::isSet()) {
        place = ArrivalBounds::take(std::strlen(data));
        if (place == nullptr) {
            ArrivalBounds::noteLoss();
            return;
        }
    }
    forward(std::make_unique<CTellbusSignal>(copyOf(name), copyOf(data), std::move(place)), *cookie,
            data);
}

void CTellbusEventListener::prepareAndForwardTellbusStatus(TELLBUS_tCallbackStatus const* status,
                                                           CTellbusEventCookie* cookie) const {
    forward(std::make_unique<unsigned int>(status->status), *cookie);
}

void CTellbusEventListener::prepareAndForwardTellbusNameChangeEvent(
    char const* name, char const* oldOwner, char const* newOwner,
    CTellbusEventCookie* cookie) const {
    forward(std::make_unique<CTellbusNameChange>(copyOf(name), copyOf(oldOwner), copyOf(newOwner)),
            *cookie);
}

template <class Record>
void CTellbusEventListener::forward(std::unique_ptr<Record> record,
                                    CTellbusEventCookie const& cookie, char const* text) const {
    auto event = std::make_unique<CTellbusEvent>(record.get(), cookie.context);
    event->longText = isLong(text);
    if (sendEventPulse(event.get(), cookie.eventCode)) {
        // From here on the main thread may already have freed them, and the cookie with them.
        static_cast<void>(event.release());
        static_cast<void>(record.release());
    }
}

bool CTellbusEventListener::sendEventPulse(CTellbusEvent const* event, int const& eventCode) const {
    if (MsgSendPulse(m_connection, pulsePriority(), eventCode,
                     reinterpret_cast<std::intptr_t>(event))
        == -1) {
        report("CTellbusEventListener: MsgSendPulse error!\n");
        return false;
    }
    return true;
}
