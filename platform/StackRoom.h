#pragma once

#include <cstddef>

/** How many bytes of stack the calling thread still has. */
std::size_t stackRoom();
