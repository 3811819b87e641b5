# Stands for Qt on a system that is not here: names enough for the project's files to be gone through.
foreach(name IN ITEMS Core Gui Widgets SerialPort)
    if(NOT TARGET Qt6::${name})
        add_library(Qt6::${name} INTERFACE IMPORTED)
    endif()
endforeach()
set(Qt6Core_VERSION_MAJOR 6)
set(Qt6Core_VERSION_MINOR 4)

# An executable without Qt's code generators.
function(qt_add_executable)
    add_executable(${ARGN})
endfunction()

# No resources.
function(qt_add_resources)
endfunction()

foreach(tool IN ITEMS moc uic)
    if(NOT TARGET Qt6::${tool})
        add_executable(Qt6::${tool} IMPORTED)
        set_target_properties(Qt6::${tool} PROPERTIES IMPORTED_LOCATION /bin/true)
    endif()
endforeach()
