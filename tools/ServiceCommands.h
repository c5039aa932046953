#pragma once

#include "tools/Arguments.h"

#include <string>

struct Console;

/** "tag": a request as it stands, from a file or standard input. */
void tag(Arguments const& arguments, Console console);
/** "clear": no tag waits in the unit any more. */
void clear(Arguments const& arguments, Console console);
/** "status": the published values. */
void status(Arguments const& arguments, Console console);
/** "check": whether a song has gone to a device. */
void check(Arguments const& arguments, Console console);
/** "watch": the signals as they come, until SIGINT or SIGTERM. */
void watch(Arguments const& arguments, Console console);

/** Calls a method of the service and prints its reply; obeys --timeout. @throws Failure */
void callService(char const* method, std::string const& parameters, Arguments const& arguments,
                 Console console);
