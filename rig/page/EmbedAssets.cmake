# cmake -DFOLDER=rig/web -DOUTPUT=EmbeddedAssets.cpp -P EmbedAssets.cmake
#
# Writes the files of the page as C++, so that the program carries them: it runs from the build tree,
# from any prefix and from a test without a path to look up, and never meets files of another version.
file(GLOB names RELATIVE "${FOLDER}" "${FOLDER}/*.html" "${FOLDER}/*.css" "${FOLDER}/*.js"
     "${FOLDER}/*.svg")
set(entries "")
foreach(name IN LISTS names)
    file(READ "${FOLDER}/${name}" content)
    string(APPEND entries "    {\"${name}\", R\"ASSET(${content})ASSET\"},\n")
endforeach()
file(WRITE "${OUTPUT}" "#include \"rig/page/Assets.h\"\n\n#include <vector>\n\n"
     "extern std::vector<Asset> const ASSETS;\nstd::vector<Asset> const ASSETS{\n${entries}};\n")
