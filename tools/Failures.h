#pragma once

#include <stdexcept>

/** How the program ends. */
enum ExitStatus {
    Done = 0,
    Failed = 1,     ///< the service said no, or the work failed
    WrongUsage = 2, ///< the command line is not one of the forms that --help shows
    Unreachable = 3 ///< there is no bus, or nobody on it to ask
};

/** The command was understood and could not be carried out. */
class Failure : public std::runtime_error {
public:
    explicit Failure(std::string const& reason, ExitStatus status = Failed)
        : std::runtime_error(reason), mStatus(status) {}

    ExitStatus status() const { return mStatus; }

private:
    ExitStatus mStatus;
};

/** The command line asks for what there is not. */
class UsageError : public Failure {
public:
    explicit UsageError(std::string const& complaint) : Failure(complaint, WrongUsage) {}
};
