#pragma once

#include "rig/page/Page.h"

#include <optional>
#include <string>
#include <vector>

/** What the rig was told on its command line. */
struct Options {
    std::vector<std::string> scripts;
    bool stay = false;
    bool help = false;
    std::optional<PageOptions> page; ///< none without --page

    /** @throws std::invalid_argument naming the word and the cure */
    static Options from(std::vector<std::string> const& arguments);

    /** What --help prints before the commands. */
    static char const* usage();
};
