#pragma once

#include "tellbus/tellbus.h"

/** Whether a status word of the bus library means failure. */
constexpr bool isTellbusFailure(TELLBUS_tStatus status) {
    return TELLBUS_FAILED(status);
}

/** The code of a status word, which messages print without the severity. */
constexpr int tellbusCode(TELLBUS_tStatus status) {
    return static_cast<int>(status & 0x0FFFFFFFU);
}

/** Whether a call ended without anybody's answer, not even an error. */
constexpr bool isTellbusUnanswered(TELLBUS_tStatus status) {
    return status == TELLBUS_E_TIMEOUT || status == TELLBUS_E_NO_REPLY
           || status == TELLBUS_E_DISCONNECTED || status == TELLBUS_E_CLOSED;
}
