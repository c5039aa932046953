#pragma once

#include "tools/Arguments.h"

struct Console;

/** "decode": a tag stream as JSON, and on request on its way to the service. */
void decode(Arguments const& arguments, Console console);
