# Run by cpack when it has made the packages. It gives folders and debug information the rights that its
# umask leaves them, files the dates that they happen to have, and names the build's folder in the sums of
# debug packages. Debian's own tool packs them once more, as anybody's build of these sources would be.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
    execute_process(
        COMMAND "${CMAKE_COMMAND}" -E env LC_ALL=C "SOURCE_DATE_EPOCH=${CPACK_SONGLATCH_EPOCH}"
                sh -ec [[
            rm -rf "$1.parts"
            dpkg-deb --raw-extract "$1" "$1.parts"
            cd "$1.parts"
            find . -type d -exec chmod 755 {} +
            find . -name '*.debug' -exec chmod 644 {} +
            find . -path ./DEBIAN -prune -o -type f -printf '%P\0' | sort -z |
                xargs -0 md5sum >DEBIAN/md5sums
            chmod 644 DEBIAN/md5sums
            find . -exec touch --no-dereference "--date=@$SOURCE_DATE_EPOCH" {} +
            dpkg-deb -Zgzip --root-owner-group --build . "$1" >&2
            rm -rf "$1.parts"
        ]] sh "${package}"
        ERROR_VARIABLE said RESULT_VARIABLE status)
    if(status)
        message(FATAL_ERROR "${package}: ${said}")
    endif()
endforeach()
