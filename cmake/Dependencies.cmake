# What is called and not written here. scripts/packages.txt installs all of it.
pkg_check_modules(LIBXML2 REQUIRED IMPORTED_TARGET libxml-2.0>=2.7.3)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(DBUS REQUIRED IMPORTED_TARGET dbus-1)
find_package(CLI11 REQUIRED)
find_package(Poco REQUIRED COMPONENTS Foundation Net)

# The JSON texts are defined by Json::FastWriter, which jsoncpp marks as deprecated in favour of a
# builder that writes other texts.
add_library(songlatch_json INTERFACE)
target_link_libraries(songlatch_json INTERFACE PkgConfig::JSONCPP)
target_compile_options(songlatch_json INTERFACE -Wno-deprecated-declarations)
