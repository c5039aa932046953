#pragma once

#include "bus/CTellbusEventTarget.h"

class CTellbusSignal;

/** Takes signals. */
class CTellbusSignalTarget : public CTellbusEventTarget {
public:
    /**
     * @param id what the registration returned
     * @param signal gone when the handler has returned
     * @param context what the registration was given
     */
    virtual void processTellbusSignal(unsigned int const& id, CTellbusSignal const* signal,
                                      void* context) = 0;

protected:
    ~CTellbusSignalTarget() = default;
};
