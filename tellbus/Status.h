#pragma once

#include "tellbus/Message.h"
#include "tellbus/tellbus.h"

namespace tellbus {

inline bool failed(TELLBUS_tStatus status) {
    return TELLBUS_FAILED(status);
}

/** What an answer says: TELLBUS_OK, or the failure that the name of an error reply stands for. */
TELLBUS_tStatus statusOf(DBusMessage* answer);

} // namespace tellbus
