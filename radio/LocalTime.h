#pragma once

#include <string>

/** The time of an event: what the input says, or else the present one of the local clock. */
std::string timeOr(std::string const& time);
