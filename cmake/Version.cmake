# The one place of the version is project() of the root: programs say it from "Version.h", which is
# written here, manual pages and packages have it filled in. tests/check_version.py looks for copies.
set(versionRoot "${PROJECT_BINARY_DIR}/layers/songlatch_version")
configure_file("${CMAKE_CURRENT_LIST_DIR}/Version.h.in" "${versionRoot}/Version.h" @ONLY)
add_library(songlatch_version INTERFACE)
target_include_directories(songlatch_version INTERFACE "${versionRoot}")
