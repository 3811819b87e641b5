# add_release_set(TARGET DIRECTORY)
#
# Compiles a release set into TARGET under ":/res/": settings.json, fw1.bin, Address.bin and every
# image that the manifest names. Left uncompressed: images are read once while the dialog opens and
# the firmware is read at random positions, so both are wanted as plain memory.
function(add_release_set TARGET DIRECTORY)
    get_filename_component(directory "${DIRECTORY}" ABSOLUTE BASE_DIR "${CMAKE_SOURCE_DIR}")
    set(manifest "${directory}/settings.json")
    if(NOT EXISTS "${manifest}")
        message(FATAL_ERROR "RELEASE_SET: there is no settings.json in ${directory}")
    endif()
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${manifest}")

    file(READ "${manifest}" json)
    string(JSON count ERROR_VARIABLE error LENGTH "${json}" Images)
    if(error)
        message(FATAL_ERROR "RELEASE_SET: ${manifest}: ${error}")
    endif()

    set(files settings.json fw1.bin Address.bin)
    set(index 0)
    while(index LESS count)
        string(JSON name ERROR_VARIABLE error GET "${json}" Images ${index} FileName)
        if(error)
            message(FATAL_ERROR "RELEASE_SET: ${manifest}: image ${index}: ${error}")
        endif()
        list(APPEND files "${name}")
        math(EXPR index "${index} + 1")
    endwhile()
    list(REMOVE_DUPLICATES files)

    set(paths "")
    foreach(name IN LISTS files)
        if(NOT EXISTS "${directory}/${name}" OR IS_DIRECTORY "${directory}/${name}")
            message(FATAL_ERROR "RELEASE_SET: the set in ${directory} has no file \"${name}\"")
        endif()
        list(APPEND paths "${directory}/${name}")
    endforeach()

    qt_add_resources(${TARGET} release_set
        PREFIX "/res" BASE "${directory}" FILES ${paths} OPTIONS --no-compress)
endfunction()
