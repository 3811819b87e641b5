# What installs the program on the user's computer: the install rules, the version and the icon in the
# executable, and the two Debian packages ("program" and, for developers, "tools").

include(GNUInstallDirs)

set(packaging "${CMAKE_SOURCE_DIR}/packaging")
set(VIRTUALBOARD_RELEASE_SET "${RELEASE_SET}" CACHE PATH
    "Folder that the virtual board takes the expected release set from when it is told none")

# A release's version and day are in the changelog; everything else takes them from here.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/CHANGELOG.md")
file(STRINGS "${CMAKE_SOURCE_DIR}/CHANGELOG.md" releases REGEX "^## [0-9]+\\.[0-9]+\\.[0-9]+ - ")
list(GET releases 0 newest)
if(NOT newest MATCHES "^## ([0-9.]+) - ([0-9]+-[0-9]+-[0-9]+)$" OR NOT CMAKE_MATCH_1 STREQUAL PROJECT_VERSION)
    message(FATAL_ERROR "CHANGELOG.md begins with '${newest}', but this is version ${PROJECT_VERSION}")
endif()
set(UPDATER_RELEASE_DATE "${CMAKE_MATCH_2}")

# Who hands it out: OWNER_NAME, OWNER_EMAIL, OWNER_HOMEPAGE, OWNER_ID.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${packaging}/owner.txt")
file(STRINGS "${packaging}/owner.txt" lines REGEX "^[a-z]+: " ENCODING UTF-8)
foreach(line IN LISTS lines)
    string(REGEX MATCH "^([a-z]+): (.*)$" line "${line}")
    string(TOUPPER "OWNER_${CMAKE_MATCH_1}" name)
    set(${name} "${CMAKE_MATCH_2}")
endforeach()

include(ReleaseName)

# package_program(TARGET DESCRIPTION): a program for technicians. Its name, version and icon go where each
# system looks for them.
function(package_program TARGET DESCRIPTION)
    target_compile_definitions(${TARGET} PRIVATE "UPDATER_VERSION=\"${PROJECT_VERSION}\"")
    if(WIN32)
        enable_language(RC)
        set(resource "${CMAKE_CURRENT_BINARY_DIR}/${TARGET}.rc")
        configure_file("${packaging}/windows/annealing-db-updater.rc.in" "${resource}" @ONLY)
        target_sources(${TARGET} PRIVATE "${resource}")
        set_target_properties(${TARGET} PROPERTIES WIN32_EXECUTABLE ON)
    endif()
    install(TARGETS ${TARGET} COMPONENT program RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endfunction()

# install_windows_libraries(): the libraries beside the programs, and their licences. Qt's own tool for
# this runs on Windows alone.
function(install_windows_libraries)
    set(libraries Qt6Core Qt6Gui Qt6Widgets Qt6SerialPort)
    list(TRANSFORM libraries PREPEND "${QT_WINDOWS}/bin/")
    list(TRANSFORM libraries APPEND ".dll")
    foreach(name IN ITEMS libgcc_s_seh-1.dll libstdc++-6.dll libwinpthread-1.dll)
        execute_process(COMMAND "${CMAKE_CXX_COMPILER}" -print-file-name=${name}
            OUTPUT_VARIABLE library OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
        list(APPEND libraries "${library}")
    endforeach()
    install(FILES ${libraries} DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT program)
    foreach(plugin IN ITEMS platforms/qwindows styles/qwindowsvistastyle)
        get_filename_component(folder "${plugin}" DIRECTORY)
        install(FILES "${QT_WINDOWS}/plugins/${plugin}.dll"
            DESTINATION "${CMAKE_INSTALL_BINDIR}/${folder}" COMPONENT program)
    endforeach()
    install(DIRECTORY "${QT_WINDOWS}/licenses/" DESTINATION licenses COMPONENT program)
endfunction()

# package_tool(TARGET): a tool for developers.
function(package_tool TARGET)
    install(TARGETS ${TARGET} COMPONENT tools RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endfunction()

if(WIN32)
    return()
endif()

# install_manual(COMPONENT NAME...): man pages, compressed as Debian wants them.
function(install_manual COMPONENT)
    foreach(name IN LISTS ARGN)
        set(page "${CMAKE_BINARY_DIR}/packaging/${name}.1")
        configure_file("${packaging}/man/${name}.1.in" "${page}" @ONLY)
        execute_process(COMMAND gzip -9nkf "${page}" COMMAND_ERROR_IS_FATAL ANY)
        install(FILES "${page}.gz" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT ${COMPONENT})
    endforeach()
endfunction()

find_package(Python3 QUIET COMPONENTS Interpreter)

# install_papers(COMPONENT PACKAGE): what every Debian package says about itself. Without Python, which
# the program itself does not need, the changelog is left out.
function(install_papers COMPONENT PACKAGE)
    set(papers "${CMAKE_BINARY_DIR}/packaging/copyright")
    configure_file("${packaging}/debian/copyright.in" "${papers}" @ONLY)
    if(Python3_FOUND)
        set(changelog "${CMAKE_BINARY_DIR}/packaging/${PACKAGE}/changelog")
        file(MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/packaging/${PACKAGE}")
        execute_process(
            COMMAND "${Python3_EXECUTABLE}" "${packaging}/debian/write-changelog"
                ${PACKAGE} "${CMAKE_SOURCE_DIR}/CHANGELOG.md" "${UPDATER_FULL_VERSION}"
                "${OWNER_NAME} <${OWNER_EMAIL}>"
            OUTPUT_FILE "${changelog}" COMMAND_ERROR_IS_FATAL ANY)
        execute_process(COMMAND gzip -9nkf "${changelog}" COMMAND_ERROR_IS_FATAL ANY)
        list(APPEND papers "${changelog}.gz")
    endif()
    install(FILES ${papers} DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${PACKAGE}" COMPONENT ${COMPONENT})
endfunction()

set(program_package annealing-db-updater)
set(tools_package annealing-db-updater-dev-tools)

# What belongs to the program's package besides the program.
set(applications "${CMAKE_INSTALL_DATADIR}/applications")
set(icons "${CMAKE_INSTALL_DATADIR}/icons/hicolor")
set(metainfo "${OWNER_ID}.annealing_db_updater.metainfo.xml")
configure_file("${packaging}/linux/metainfo.xml.in" "${CMAKE_BINARY_DIR}/packaging/${metainfo}" @ONLY)
foreach(file IN ITEMS annealing-db-updater.desktop annealing-db-updater-doctor.desktop)
    configure_file("${packaging}/linux/${file}.in" "${CMAKE_BINARY_DIR}/packaging/${file}" @ONLY)
endforeach()
install(FILES "${CMAKE_BINARY_DIR}/packaging/annealing-db-updater.desktop"
    "${CMAKE_BINARY_DIR}/packaging/annealing-db-updater-doctor.desktop"
    DESTINATION "${applications}" COMPONENT program)
install(FILES "${CMAKE_BINARY_DIR}/packaging/${metainfo}"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/metainfo" COMPONENT program)
foreach(size IN ITEMS 16 22 24 32 48 64 128 256)
    install(FILES "${packaging}/icon/annealing-db-updater-${size}.png" RENAME annealing-db-updater.png
        DESTINATION "${icons}/${size}x${size}/apps" COMPONENT program)
endforeach()
install(FILES "${packaging}/icon/annealing-db-updater.svg"
    DESTINATION "${icons}/scalable/apps" COMPONENT program)
# Not in the library folder of this architecture: udev looks in this one only.
install(FILES "${packaging}/linux/60-annealing-db-updater.rules" DESTINATION lib/udev/rules.d COMPONENT program)
install_manual(program annealing-db-updater annealing-db-updater-doctor)
install_papers(program ${program_package})

set(CPACK_COMPONENTS_ALL program tools)
# The set's files alone: its folder may hold others, which are not installed.
release_set_files(names "${release_set}")
foreach(name IN LISTS names)
    get_filename_component(folder "${name}" DIRECTORY)
    install(FILES "${release_set}/${name}" COMPONENT tools
        DESTINATION "${CMAKE_INSTALL_DATADIR}/${tools_package}/release-set/${folder}")
endforeach()
install_manual(tools virtual-board release-set)
install_papers(tools ${tools_package})

# Packing does not build all targets: the tests are no part of the packages.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
# Each package has a summary of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_PACKAGE_VERSION "${UPDATER_FULL_VERSION}")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${OWNER_NAME} <${OWNER_EMAIL}>")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "${OWNER_HOMEPAGE}")
set(CPACK_DEBIAN_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME ${program_package})
if(UPDATER_STAND_IN)
    execute_process(
        COMMAND dpkg --print-architecture OUTPUT_VARIABLE architecture OUTPUT_STRIP_TRAILING_WHITESPACE)
    set(CPACK_DEBIAN_PROGRAM_FILE_NAME
        "${program_package}_${UPDATER_FULL_VERSION}_${architecture}_not-for-a-machine.deb")
endif()
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION
"updater for an annealing machine's display board${UPDATER_STAND_IN_NOTE}
Finds the machine at its FTDI USB serial adapter, writes the firmware and the
display images that are built into the program, and shows how far it is.

The package also sets the adapter up: who may open it, and that its answers
are not kept back, which shortens an update from six minutes to 100 s.

${UPDATER_SET_TOLD}")
# Platform plugins are loaded while the program runs, so they are not among its libraries.
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS qt6-qpa-plugins)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_RECOMMENDS "qt6-wayland, udev")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_CONTROL_EXTRA
    "${packaging}/debian/preinst;${packaging}/debian/postinst;${packaging}/debian/postrm")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ${tools_package})
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
"display board in software, and the tool for release sets
virtual-board plays the display board of an annealing machine on a mocked USB
bus or on a real serial port, with line timing and faults. release-set checks,
converts, draws and compares what the updater sends.

${UPDATER_SET_TOLD}")
# The mocked bus is preloaded into the program that is started on it.
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "umockdev, qt6-qpa-plugins")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS ${program_package})
include(CPack)
