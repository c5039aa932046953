#pragma once

#include <string>
#include <string_view>

/** A file of the page, as it stands in rig/web. */
struct Asset {
    std::string_view name;
    std::string_view content;
};

/** The file of that name; null if the page has none. */
Asset const* findAsset(std::string const& name);

/** What a browser has to know of a file, by the ending of its name. */
char const* contentTypeOf(std::string_view name);
