#pragma once

#include "bus/CTellbusEventTarget.h"

/** Waits for the completion of an unsubscribe. */
class CTellbusStatusTarget : public CTellbusEventTarget {
public:
    virtual void processTellbusStatus(unsigned int const& id, unsigned int status,
                                      void* context) = 0;

    /**
     * The completion of an unsubscribe, as the router reports it. Class-level, because the target
     * may be gone by then. Frees the subscription with its cookies, or nothing if `status` is a
     * failure, since then signals may still come.
     * @param context the CTellbusSubscription
     */
    static void onTellbusStatus(unsigned int const& id, unsigned int status, void* context);

protected:
    ~CTellbusStatusTarget() = default;
};
