# What every target of the project shares: the language level, Qt's code generators, the warnings
# and the sanitizers.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_AUTOMOC ON)
set(CMAKE_AUTOUIC ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

# A compiler cache only where there is one: it changes how long a build takes, nothing else.
find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
endif()

add_library(project_options INTERFACE)

# The root is on the include path so that an include names its folder: "protocol/Crc.h".
target_include_directories(project_options INTERFACE "${CMAKE_SOURCE_DIR}")
target_compile_definitions(project_options INTERFACE QT_NO_FOREACH QT_DISABLE_DEPRECATED_BEFORE=0x060400)

if(MSVC)
    target_compile_options(project_options INTERFACE /W4 /utf-8 $<$<BOOL:${UPDATER_WARNINGS_AS_ERRORS}>:/WX>)
else()
    target_compile_options(project_options INTERFACE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion
        $<$<BOOL:${UPDATER_WARNINGS_AS_ERRORS}>:-Werror>)
endif()

if(UPDATER_SANITIZE)
    # GCC takes values that only the sanitizers' own code touches for uninitialised.
    target_compile_options(project_options INTERFACE
        -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(project_options INTERFACE -fsanitize=address,undefined)

    # For tests that preload a library or open the main window: the preloaded library comes before the
    # sanitizers' own, and some objects live until the process ends on purpose.
    set(SANITIZER_ENVIRONMENT
        "ASAN_OPTIONS=verify_asan_link_order=0"
        "LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/leaks.supp:print_suppressions=0")
endif()

if(UPDATER_FUZZ)
    # Everything tells the fuzzer where it has been; only the fuzzers themselves get its main().
    target_compile_options(project_options INTERFACE -fsanitize=fuzzer-no-link)
    target_link_options(project_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
