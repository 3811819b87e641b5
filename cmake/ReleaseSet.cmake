set(RELEASE_SET_TOOL release-set CACHE STRING
    "What checks the release set: the tool that is built here or, when building for another system, this computer's")

# add_release_set(TARGET DIRECTORY)
#
# Compiles a release set into TARGET under ":/res/": settings.json, fw1.bin, Address.bin and every
# image that the manifest names. Left uncompressed: images are read once while the dialog opens and
# the firmware is read at random positions, so both are wanted as plain memory. Format 1 leaves out the
# files' times, which would make two builds of one set differ.
#
# "release-set check" runs before anything of TARGET is compiled; an error stops the build with the
# check's lines. What is done here is to list the files.
function(add_release_set TARGET DIRECTORY)
    get_filename_component(directory "${DIRECTORY}" ABSOLUTE BASE_DIR "${CMAKE_SOURCE_DIR}")
    if(NOT IS_DIRECTORY "${directory}")
        message(FATAL_ERROR "RELEASE_SET: there is no folder ${directory}")
    endif()
    release_set_files(names "${directory}")

    set(paths "")
    foreach(name IN LISTS names)
        if(EXISTS "${directory}/${name}" AND NOT IS_DIRECTORY "${directory}/${name}")
            list(APPEND paths "${directory}/${name}")
        else()
            # The check reports missing files; look again when the folder has changed.
            set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${directory}")
        endif()
    endforeach()

    qt_add_resources(${TARGET} release_set
        PREFIX "/res" BASE "${directory}" FILES ${paths} OPTIONS --no-compress --format-version 1)

    # The tool's folder may be added later than TARGET.
    cmake_language(EVAL CODE "cmake_language(DEFER DIRECTORY [[${CMAKE_SOURCE_DIR}]]
        CALL check_release_set [[${TARGET}]] [[${directory}]] [[${paths}]])")
endfunction()

# release_set_files(OUT DIRECTORY): the names of a set's files, as far as its manifest can be read.
function(release_set_files OUT directory)
    set(names settings.json fw1.bin Address.bin)
    set(manifest "${directory}/settings.json")
    if(EXISTS "${manifest}" AND NOT IS_DIRECTORY "${manifest}")
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${manifest}")
        file(READ "${manifest}" json)
        string(JSON count ERROR_VARIABLE error LENGTH "${json}" Images)
        set(index 0)
        while(NOT error AND index LESS count)
            string(JSON name ERROR_VARIABLE entryError GET "${json}" Images ${index} FileName)
            if(NOT entryError AND NOT name MATCHES "^/|(^|/)\\.\\.(/|$)")
                list(APPEND names "${name}")
            endif()
            math(EXPR index "${index} + 1")
        endwhile()
    endif()
    list(REMOVE_DUPLICATES names)
    set(${OUT} "${names}" PARENT_SCOPE)
endfunction()

# check_release_set(TARGET DIRECTORY FILES): runs the check before anything of TARGET is built, and
# again whenever a file of the set or the tool has changed.
function(check_release_set TARGET directory files)
    set(stamp "${CMAKE_BINARY_DIR}/${TARGET}_release_set.checked")
    add_custom_command(OUTPUT "${stamp}"
        COMMAND "${RELEASE_SET_TOOL}" check --quiet "${directory}"
        COMMAND "${CMAKE_COMMAND}" -E touch "${stamp}"
        DEPENDS "${RELEASE_SET_TOOL}" ${files}
        COMMENT "Checking the release set in ${directory}"
        VERBATIM)
    add_custom_target(${TARGET}_release_set DEPENDS "${stamp}")
    add_dependencies(${TARGET} ${TARGET}_release_set)
endfunction()
