# SONGLATCH_EPOCH, SONGLATCH_DATE: the date of the sources, in seconds and as "Nov  2 2026". It stands where
# a program or a package tells when it was made, so that two builds of one commit are the same bytes.
# SOURCE_DATE_EPOCH in the environment says it; otherwise it is that of the newest entry in the changelog.
set(SONGLATCH_EPOCH "$ENV{SOURCE_DATE_EPOCH}")
if(SONGLATCH_EPOCH STREQUAL "")
    set(changelog "${PROJECT_SOURCE_DIR}/packaging/debian/changelog")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${changelog}")
    file(STRINGS "${changelog}" entries REGEX "^ -- ")
    list(GET entries 0 newest)
    string(REGEX REPLACE ".*  " "" newest "${newest}")
    execute_process(COMMAND date --utc "--date=${newest}" +%s OUTPUT_VARIABLE SONGLATCH_EPOCH
                    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C date --utc "--date=@${SONGLATCH_EPOCH}" "+%b %e %Y"
                OUTPUT_VARIABLE SONGLATCH_DATE
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
