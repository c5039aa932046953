# Run by cpack in each package's folder before it is packed: Debian compresses pages and changelogs.
file(GLOB_RECURSE files "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*")
list(FILTER files INCLUDE REGEX "/share/man/man[0-9]/[^/]*[0-9]$|/changelog[.]Debian$")
foreach(file IN LISTS files)
    execute_process(COMMAND gzip -9nf "${file}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()
