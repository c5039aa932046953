#pragma once

#include "service/stdTools.h"

#include <string>

/**
 * Whether the driver of the iPod mounted there lists the capability for tagging. Every failure is a
 * no, with a line in the log.
 */
bool supportsTagging(stdTools const& log, std::string const& mountPoint);
