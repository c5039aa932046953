# songlatch_unit_tests(NAME SOURCES file... USES target... [LABELS label...])
#
# One test program for the unit tests of one folder, each of its cases known to ctest by its name.
function(songlatch_unit_tests name)
    cmake_parse_arguments(UNIT "" "" "SOURCES;USES;LABELS" ${ARGN})
    add_executable(${name} ${UNIT_SOURCES})
    target_link_libraries(${name} PRIVATE ${UNIT_USES} GTest::gmock_main)
    target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 300 LABELS "unit;${UNIT_LABELS}")
endfunction()
