#pragma once

#include <string>

namespace tellbus {

/** The causes that the library has for a line on standard error. */
enum class Complaint {
    BadSignal,    ///< a signal that does not carry one string
    ForgedSignal, ///< a signal from a process that does not own the sender's name
    BadReply,     ///< a reply that is not one string
    MatchRule,    ///< the bus refused a subscription
    NameLost,     ///< a name could not be taken back
    BusGone,      ///< the connection broke
    Exception,    ///< a callback or the library's own code threw
    Description,  ///< an interface description that cannot be used
    ForgedReply,  ///< a reply from a process that was not called
    BadCall,      ///< a wrong call that wants no reply, not even an error
};

/**
 * Writes "libtellbus: ..." to standard error, at most one line a second for the same cause. Of a
 * long detail only the beginning, and without control characters: it may come from anybody.
 */
void complain(Complaint cause, std::string const& detail) noexcept;

} // namespace tellbus
