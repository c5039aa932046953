#pragma once

// The device control call under its QNX name: the system's own header on QNX, and the one of
// platform/posix/include elsewhere.
#include <devctl.h>
