# The names of the packages: by the program's version and the release set's, in a form that Debian
# orders. The stand-in (its firmware says what it is) comes before the set of the same version, and that
# before the next one. A set's version with other characters gets no name: two sets could get the same.
#
# Takes PROJECT_VERSION and RELEASE_SET, sets what follows, and writes it to a file for ./package.

set(UPDATER_SET_VERSION "")
set(UPDATER_FULL_VERSION "")
set(UPDATER_STAND_IN no)
set(UPDATER_STAND_IN_NOTE "")
set(UPDATER_NOTE "")
set(UPDATER_SET_TOLD "")
set(installer "")

get_filename_component(release_set "${RELEASE_SET}" ABSOLUTE BASE_DIR "${CMAKE_SOURCE_DIR}")
if(EXISTS "${release_set}/settings.json" AND EXISTS "${release_set}/fw1.bin")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
        "${release_set}/settings.json" "${release_set}/fw1.bin")
    file(READ "${release_set}/settings.json" manifest)
    string(JSON UPDATER_SET_VERSION ERROR_VARIABLE unreadable GET "${manifest}" Version)
    set(UPDATER_SET_TOLD "It holds the release set ${UPDATER_SET_VERSION}.")
    set(mark "")
    set(warning "")
    file(STRINGS "${release_set}/fw1.bin" text REGEX "STAND-IN FIRMWARE. NOT FOR A MACHINE.")
    if(text)
        set(UPDATER_STAND_IN yes)
        set(UPDATER_STAND_IN_NOTE " (stand-in, not for a machine)")
        set(UPDATER_NOTE "Built from the stand-in release set: not for a machine")
        set(UPDATER_SET_TOLD "It holds the stand-in ${UPDATER_SET_VERSION}, which was made for trying the updater:
it is NOT FOR A MACHINE.")
        set(mark "~standin")
        set(warning "_stand-in-not-for-a-machine")
    endif()
    if(UPDATER_SET_VERSION MATCHES "^[A-Za-z0-9][A-Za-z0-9.+]*$")
        string(TOLOWER "${PROJECT_VERSION}${mark}+${UPDATER_SET_VERSION}" UPDATER_FULL_VERSION)
        set(installer "annealing-db-updater_${PROJECT_VERSION}_${UPDATER_SET_VERSION}${warning}_windows-x64.exe")
    endif()
endif()

file(WRITE "${CMAKE_BINARY_DIR}/packaging/release.txt"
    "program ${PROJECT_VERSION}\n"
    "day ${UPDATER_RELEASE_DATE}\n"
    "set ${UPDATER_SET_VERSION}\n"
    "version ${UPDATER_FULL_VERSION}\n"
    "note ${UPDATER_NOTE}\n"
    "installer ${installer}\n")
