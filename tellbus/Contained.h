#pragma once

#include "tellbus/Complaints.h"
#include "tellbus/tellbus.h"

#include <exception>
#include <new>
#include <type_traits>

namespace tellbus {

/**
 * Runs what may throw, and ends the journey of what it throws: the one place where that happens.
 *
 * A body that gives a status is an operation of the C interface, whose caller is told that memory
 * is out; everything else is one line, as nobody can be told.
 */
template <class Body>
TELLBUS_tStatus contained(Body const& body) noexcept {
    constexpr bool TELLS = std::is_same_v<decltype(body()), TELLBUS_tStatus>;
    try {
        if constexpr (TELLS) {
            return body();
        } else {
            body();
            return TELLBUS_OK;
        }
    } catch (std::bad_alloc const& problem) {
        if (!TELLS) {
            complain(Complaint::Exception, problem.what());
        }
        return TELLBUS_E_MEMORY;
    } catch (std::exception const& problem) {
        complain(Complaint::Exception, problem.what());
    } catch (...) {
        complain(Complaint::Exception, "of unknown type");
    }
    return TELLBUS_E_INTERNAL;
}

} // namespace tellbus
