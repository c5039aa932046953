#pragma once

#include "bus/CTellbusEventTarget.h"

class CTellbusResult;

/** Takes the replies to calls. */
class CTellbusResultTarget : public CTellbusEventTarget {
public:
    /**
     * @param id what the registration returned
     * @param result gone when the handler has returned
     * @param context what the registration was given
     */
    virtual void processTellbusResult(unsigned int const& id, CTellbusResult* result,
                                      void* context) = 0;

protected:
    ~CTellbusResultTarget() = default;
};
