#include "rig/page/Assets.h"

#include <algorithm>
#include <vector>

// Made at build time from rig/web; see EmbedAssets.cmake.
extern std::vector<Asset> const ASSETS;

Asset const* findAsset(std::string const& name) {
    auto const found = std::find_if(ASSETS.begin(), ASSETS.end(),
                                    [&](Asset const& asset) { return asset.name == name; });
    return found == ASSETS.end() ? nullptr : &*found;
}

char const* contentTypeOf(std::string_view name) {
    std::string_view const ending = name.substr(std::min(name.size(), name.rfind('.')));
    if (ending == ".html") {
        return "text/html; charset=utf-8";
    }
    if (ending == ".css") {
        return "text/css; charset=utf-8";
    }
    return ending == ".svg" ? "image/svg+xml" : "text/javascript; charset=utf-8";
}
