#pragma once

#include "bus/CTellbusEventTarget.h"

class CTellbusNameChange;

/** Takes the changes of the owner of a bus name. */
class CTellbusNameChangeTarget : public CTellbusEventTarget {
public:
    /**
     * @param id what the registration returned
     * @param change gone when the handler has returned
     * @param context what the registration was given
     */
    virtual void processTellbusNameChange(unsigned int const& id, CTellbusNameChange const* change,
                                          void* context) = 0;

protected:
    ~CTellbusNameChangeTarget() = default;
};
