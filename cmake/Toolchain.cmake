# Language level, warnings, sanitizers and where programs land.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# An installed program finds the library beside it, wherever both have been put. Below /usr, where the
# system looks anyway, packaging/ takes this out again.
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")

if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    # Dates beyond January 2038, and a log beyond 2 GiB.
    add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

option(SONGLATCH_WERROR "Treat warnings as errors" OFF)
set(SONGLATCH_SANITIZE "" CACHE STRING "Value for -fsanitize=, empty for none")
option(SONGLATCH_COVERAGE "Instrument for gcov" OFF)
option(SONGLATCH_FUZZ "Build the fuzz targets (clang only)" OFF)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-qual
                    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
                    $<$<COMPILE_LANGUAGE:CXX>:-Wextra-semi>)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # What is annotated with its mutex is touched under that mutex only.
    add_compile_options(-Wthread-safety -Werror=thread-safety)
endif()
# What Debian calls hardening=+all, in every build type. Source fortification is the exception: it
# does nothing without optimisation, and hides from the sanitizers what they look for.
include(CheckPIESupported)
check_pie_supported(LANGUAGES C CXX)
set(SONGLATCH_HARDENING
    -fstack-protector-strong -fstack-clash-protection -Wformat -Werror=format-security)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|amd64|i.86")
    list(APPEND SONGLATCH_HARDENING -fcf-protection)
endif()
if(NOT SONGLATCH_SANITIZE)
    list(APPEND SONGLATCH_HARDENING
        $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE>
        $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=2>)
endif()
add_compile_options("${SONGLATCH_HARDENING}")
add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)

# What is delivered does not tell in which folder it was built. The others say it to their reader.
if(NOT SONGLATCH_SANITIZE AND NOT SONGLATCH_COVERAGE)
    set(SONGLATCH_ANY_FOLDER "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.")
    add_compile_options("${SONGLATCH_ANY_FOLDER}")
endif()

if(SONGLATCH_WERROR)
    add_compile_options(-Werror)
endif()
if(SONGLATCH_SANITIZE)
    add_compile_options(-fsanitize=${SONGLATCH_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${SONGLATCH_SANITIZE})
endif()
if(SONGLATCH_COVERAGE)
    add_compile_options(--coverage)
    add_link_options(--coverage)
endif()
