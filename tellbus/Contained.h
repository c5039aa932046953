#pragma once

#include "tellbus/Complaints.h"

#include <exception>

namespace tellbus {

/** Runs what belongs to somebody else: what it throws is one line, and ends here. */
template <class Call>
void contained(Call call) noexcept {
    try {
        call();
    } catch (std::exception const& problem) {
        complain(Complaint::Exception, problem.what());
    } catch (...) {
        complain(Complaint::Exception, "of unknown type");
    }
}

} // namespace tellbus
