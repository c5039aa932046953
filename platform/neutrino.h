#pragma once

// Channels, pulses and message passing under their QNX names. On QNX this is the system's own
// header; elsewhere the build puts platform/posix/include in front, which declares the calls that
// this system uses.
#include <sys/neutrino.h>
