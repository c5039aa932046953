#pragma once

#include <string>

namespace tellbus {

/** Where the bus is: the one that started this process if one did, else the system bus. */
std::string busAddress();

} // namespace tellbus
