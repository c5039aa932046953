#pragma once

#include <cstdint>
#include <string>
#include <vector>

/** The capability ids of a driver, in its order. */
using Capabilities = std::vector<std::uint16_t>;

/** Reads "8,3", or "none". @throws std::invalid_argument for anything else */
Capabilities toCapabilities(std::string const& text);
