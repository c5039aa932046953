#pragma once

#include <stdexcept>

/** The command line is not one of the forms that --help shows. Exit status 2. */
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** The command was understood and could not be carried out. Exit status 1. */
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
