#pragma once

#include "tellbus/tellbus.h"

#include <string>

namespace tellbus {

/**
 * The checks that stand before every call of libdbus, which ends the process where it is given a
 * name or text that D-Bus does not allow. A null argument is never valid.
 */
bool isServiceName(char const* name); ///< a name that can be requested and be an interface
bool isBusName(char const* name);     ///< also the unique name of a connection
bool isInterface(char const* name);
bool isPath(char const* path);
bool isMember(char const* name);
bool isErrorName(char const* name);

/** TELLBUS_OK, TELLBUS_E_ARGUMENT for null, TELLBUS_E_TOO_LARGE or TELLBUS_E_TEXT. */
TELLBUS_tStatus checkText(char const* text);

/** The bus name that an object path spells, as /com/example/A spells com.example.A. */
std::string nameSpelledBy(std::string const& path);

} // namespace tellbus
