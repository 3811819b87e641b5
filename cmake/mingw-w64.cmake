# Toolchain: 64-bit Windows, built on Debian with MinGW-w64 and its POSIX threads, which Qt needs.
#
# QT_WINDOWS is the folder of the Qt for Windows that packaging/windows/build-qt made.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

# cmake-lint: disable=W0105
set(mingw x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${mingw}-gcc-posix)
set(CMAKE_CXX_COMPILER ${mingw}-g++-posix)
set(CMAKE_RC_COMPILER ${mingw}-windres)

# The linker would write the time of the build into every file.
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,--no-insert-timestamp)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -Wl,--no-insert-timestamp)
set(CMAKE_MODULE_LINKER_FLAGS_INIT -Wl,--no-insert-timestamp)

# Libraries and headers are those for Windows; programs, and Qt's code generators, are this computer's.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QT_WINDOWS)
set(CMAKE_FIND_ROOT_PATH /usr/${mingw} ${QT_WINDOWS})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(QT_HOST_PATH /usr)
set(QT_HOST_PATH_CMAKE_DIR /usr/lib/x86_64-linux-gnu/cmake)
