# songlatch_unit_tests(NAME SOURCES file... USES target... [LABELS label...])
#
# One test program for the unit tests of one folder, each of its cases known to ctest by its name.
function(songlatch_unit_tests name)
    cmake_parse_arguments(UNIT "" "" "SOURCES;USES;LABELS" ${ARGN})
    add_executable(${name} ${UNIT_SOURCES})
    target_link_libraries(${name} PRIVATE ${UNIT_USES} GTest::gmock_main)
    target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
    # One label, as a list does not survive the script that finds the cases: "unit-long" is chosen by
    # ctest -L unit as well as by -L long, and left out by -LE long.
    string(JOIN "-" labels "unit" ${UNIT_LABELS})
    set(timeout 900)
    if("long" IN_LIST UNIT_LABELS)
        set(timeout 1500)
    endif()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 120
        PROPERTIES TIMEOUT ${timeout} LABELS ${labels})
endfunction()
