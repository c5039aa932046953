# The folders of the repository are its architecture, and this file is what keeps them apart.
#
# songlatch_layer(NAME HEADERS file... SOURCES file... [USES target...])
#
# makes a static library out of one folder, or an interface library where SOURCES is empty. Its
# headers are reachable only through an include root of the layer's own that holds links to exactly
# the HEADERS. An #include of a folder that is not under USES, directly or through what those
# use, therefore does not compile.
function(songlatch_layer name)
    cmake_parse_arguments(LAYER "" "" "HEADERS;SOURCES;USES" ${ARGN})
    set(root "${PROJECT_BINARY_DIR}/layers/${name}")
    foreach(header IN LISTS LAYER_HEADERS)
        cmake_path(ABSOLUTE_PATH header BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}" OUTPUT_VARIABLE from)
        file(RELATIVE_PATH path "${PROJECT_SOURCE_DIR}" "${from}")
        cmake_path(GET path PARENT_PATH folder)
        file(MAKE_DIRECTORY "${root}/${folder}")
        file(CREATE_LINK "${from}" "${root}/${path}" SYMBOLIC)
    endforeach()
    if(LAYER_SOURCES)
        add_library(${name} STATIC ${LAYER_SOURCES})
        target_include_directories(${name} PUBLIC "${root}")
        target_link_libraries(${name} PUBLIC ${LAYER_USES})
    else()
        add_library(${name} INTERFACE)
        target_include_directories(${name} INTERFACE "${root}")
        target_link_libraries(${name} INTERFACE ${LAYER_USES})
    endif()
endfunction()
