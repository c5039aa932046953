#pragma once

#include "tellbus/Service.h"

#include <set>
#include <string>
#include <vector>

namespace tellbus {

/**
 * The answer to Introspect for one object path: the interfaces that the library answers itself,
 * those of the services there, and the next elements of the paths below.
 *
 * A service that brought no description has that of the file <name>.xml in the folder
 * dbus-1/interfaces of the first data folder that holds one, read now.
 */
std::string introspectionData(std::vector<Described> const& services,
                              std::set<std::string> const& children);

/** The interface elements of a description, a whole node document or a part of one. */
std::string interfacesOf(std::string const& description);

} // namespace tellbus
