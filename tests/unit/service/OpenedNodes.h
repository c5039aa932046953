#pragma once

#include <string>
#include <vector>

/** While it lives, openControlNode notes the paths that it is given. One at a time. */
class OpenedNodes {
public:
    OpenedNodes();
    ~OpenedNodes();
    OpenedNodes(OpenedNodes const&) = delete;
    OpenedNodes& operator=(OpenedNodes const&) = delete;

    std::vector<std::string> paths;
};
