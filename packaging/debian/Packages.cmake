# The Debian packages that "cpack --config build/release/CPackConfig.cmake" makes.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME songlatch)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_PACKAGE_CONTACT "Songlatch developers <songlatch@songlatch.invalid>")
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_SOURCE songlatch)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_PREFIX /usr)
# The files name each other by their paths, which DESTDIR keeps as they will be.
set(CPACK_SET_DESTDIR ON)
# Debug packages are split off what has not been stripped, which strips it.
set(CPACK_STRIP_FILES OFF)
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_BUILD_SOURCE_DIRS "${PROJECT_SOURCE_DIR};${PROJECT_BINARY_DIR}")
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/compress.cmake")
set(CPACK_POST_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/seal.cmake")
set(CPACK_SONGLATCH_EPOCH "${SONGLATCH_EPOCH}")
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL songlatch libtellbus1 libtellbus-dev songlatch-tools songlatch-radio)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# songlatch_package(COMPONENT SUMMARY text DESCRIPTION text [DEPENDS text] [SECTION name]
#                   [CONTROL file...])
#
# CONTROL names what goes beside the control file: maintainer scripts, conffiles, symbols.
macro(songlatch_package component)
    cmake_parse_arguments(PKG "" "SUMMARY;DESCRIPTION;DEPENDS;SECTION" "CONTROL" ${ARGN})
    string(TOUPPER "${component}" upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${component})
    set(CPACK_COMPONENT_${upper}_DESCRIPTION "${PKG_SUMMARY}\n${PKG_DESCRIPTION}")
    set(CPACK_DEBIAN_${upper}_DESCRIPTION "${PKG_SUMMARY}\n${PKG_DESCRIPTION}")
    if(PKG_DEPENDS)
        set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${PKG_DEPENDS}")
    endif()
    if(PKG_SECTION)
        set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${PKG_SECTION})
    endif()
    if(PKG_CONTROL)
        list(TRANSFORM PKG_CONTROL PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/debian/${component}/")
        set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA "${PKG_CONTROL}")
    endif()
    install(FILES debian/copyright DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${component}"
            COMPONENT ${component})
    install(FILES debian/changelog DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${component}"
            RENAME changelog.Debian COMPONENT ${component})
    if(EXISTS "${CMAKE_CURRENT_SOURCE_DIR}/debian/${component}/lintian-overrides")
        install(FILES debian/${component}/lintian-overrides
                DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides"
                RENAME ${component} COMPONENT ${component})
    endif()
endmacro()

songlatch_package(songlatch
    SUMMARY "HD Radio tags for purchase, kept and delivered to iPods"
    DESCRIPTION "The resident service of an in-car unit. It takes tags of songs over
 D-Bus, keeps them for as long as no suitable iPod is there, and delivers
 them to the next one."
    DEPENDS "libtellbus1 (= ${CPACK_PACKAGE_VERSION}-1), default-dbus-system-bus | dbus-system-bus, systemd | systemd-sysusers"
    CONTROL conffiles postinst prerm postrm)
set(CPACK_DEBIAN_SONGLATCH_PACKAGE_RECOMMENDS "logrotate, songlatch-tools")

songlatch_package(libtellbus1
    SUMMARY "client library of a service bus with JSON texts, over D-Bus"
    DESCRIPTION "Calls, services, signals and subscriptions whose arguments are one JSON
 text each, in C."
    SECTION libs
    CONTROL symbols triggers)
set(CPACK_DEBIAN_LIBTELLBUS1_PACKAGE_MULTIARCH same)

songlatch_package(libtellbus-dev
    SUMMARY "client library of a service bus over D-Bus, for development"
    DESCRIPTION "The header, and what pkg-config and CMake need to find the library."
    DEPENDS "libtellbus1 (= ${CPACK_PACKAGE_VERSION}-1)"
    SECTION libdevel)
set(CPACK_DEBIAN_LIBTELLBUS-DEV_PACKAGE_MULTIARCH same)

songlatch_package(songlatch-tools
    SUMMARY "command-line client and workbench for Songlatch"
    DESCRIPTION "songlatchctl talks to the service and reads its files. songlatch-rig
 stands in for the media service and the iPods around it."
    DEPENDS "libtellbus1 (= ${CPACK_PACKAGE_VERSION}-1)")

songlatch_package(songlatch-radio
    SUMMARY "radio side of Songlatch, for an HD Radio receiver"
    DESCRIPTION "Reads what a receiver tells about the programme, knows what is playing, and
 marks it at the press of a button. The unit starts a receiver with it once
 there is one, and /etc/default/songlatch-radio says what to receive."
    DEPENDS "libtellbus1 (= ${CPACK_PACKAGE_VERSION}-1), songlatch (= ${CPACK_PACKAGE_VERSION}-1)"
    CONTROL postinst prerm postrm)
set(CPACK_DEBIAN_SONGLATCH-RADIO_PACKAGE_SUGGESTS "nrsc5")

include(CPack)
