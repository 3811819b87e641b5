# Makes the stand-in set anew and holds every file of it against the one in the tree.

file(REMOVE_RECURSE "${OUT}")
include("${MAKE}")

file(GLOB made RELATIVE "${OUT}" LIST_DIRECTORIES false "${OUT}/*")
file(GLOB expected RELATIVE "${EXPECTED}" "${EXPECTED}/*")
if(NOT made STREQUAL expected)
    message(FATAL_ERROR "made: ${made}\nin the tree: ${expected}")
endif()
foreach(name IN LISTS made)
    file(SHA256 "${OUT}/${name}" a)
    file(SHA256 "${EXPECTED}/${name}" b)
    if(NOT a STREQUAL b)
        message(SEND_ERROR "${name} is made otherwise than it stands in the tree")
    endif()
endforeach()
