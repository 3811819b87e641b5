# What every target of the project shares: the language level, Qt's code generators, the warnings
# and the sanitizers.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_AUTOMOC ON)
set(CMAKE_AUTOUIC ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

# A compiler cache is used where there is one: it only makes builds faster.
find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
endif()

add_library(project_options INTERFACE)

# The root is on the include path so that an include names its folder: "protocol/Crc.h".
target_include_directories(project_options INTERFACE "${CMAKE_SOURCE_DIR}")
target_compile_definitions(project_options INTERFACE QT_NO_FOREACH QT_DISABLE_DEPRECATED_BEFORE=0x060400)

target_compile_options(project_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<BOOL:${UPDATER_WARNINGS_AS_ERRORS}>:-Werror>)

define_property(TARGET PROPERTY COMPILED_QUICKLY
    BRIEF_DOCS "A test that runs for a moment: not optimised for the sanitizers, nor ready for a fuzzer")
set(compiled_quickly "$<BOOL:$<TARGET_PROPERTY:COMPILED_QUICKLY>>")

if(UPDATER_SANITIZE)
    # All other code is compiled with the coverage instrumentation that a fuzzer needs.
    target_compile_options(project_options INTERFACE
        -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer
        $<IF:${compiled_quickly},-O0,-fsanitize=fuzzer-no-link>)
    target_link_options(project_options INTERFACE -fsanitize=address,undefined,fuzzer-no-link)
    # GCC defines it by itself.
    target_compile_definitions(project_options INTERFACE __SANITIZE_ADDRESS__)

    # For tests that preload a library or open the main window: the preloaded library comes before the
    # sanitizers' own, and some objects are meant to live until the process ends.
    set(SANITIZER_ENVIRONMENT
        "ASAN_OPTIONS=verify_asan_link_order=0"
        "LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/leaks.supp:print_suppressions=0")
endif()

# clazy runs within clang, which saves a second pass over all sources; its warnings are errors like all
# others. Left out: connect-by-name and connect-non-signal, since the windows' slots are bound by name and
# one request for a connection is made to be refused; qstring-ref, about a class of Qt 5; and in the tests
# lambda-in-connect, since what is connected there lives as long as the test, and non-pod-global-static,
# since a test registers itself that way.
if(UPDATER_CLAZY)
    find_library(CLAZY_PLUGIN ClazyPlugin.so REQUIRED)
    set(clazy_checks level0,level1,no-connect-by-name,no-connect-non-signal,no-qstring-ref)
    set(is_test "$<BOOL:$<FILTER:$<TARGET_PROPERTY:SOURCE_DIR>,INCLUDE,^${CMAKE_SOURCE_DIR}/tests>>")
    target_compile_options(project_options INTERFACE
        -fplugin=${CLAZY_PLUGIN} "SHELL:-Xclang -add-plugin -Xclang clazy" "SHELL:-Xclang -plugin-arg-clazy -Xclang \
${clazy_checks}$<${is_test}:$<COMMA>no-lambda-in-connect$<COMMA>no-non-pod-global-static>")
endif()

# share_qt_headers(): compiles <QTest>, and with it most of Qt, once for all targets that use Qt, and once
# for those that are COMPILED_QUICKLY, with clang. No other header: every test includes this one, and a test
# that forgets another must not compile. To be called when all targets are defined.
function(share_qt_headers)
    foreach(name IN ITEMS qt_headers quick_qt_headers)
        file(WRITE "${CMAKE_BINARY_DIR}/${name}.cpp" "")
        add_library(${name} OBJECT "${CMAKE_BINARY_DIR}/${name}.cpp")
        set_target_properties(${name} PROPERTIES AUTOMOC OFF AUTOUIC OFF)
        target_link_libraries(${name} PRIVATE project_options Qt6::Widgets)
        # Not linked with Qt Test: its definitions contain each test's own folder.
        target_include_directories(${name} SYSTEM PRIVATE
            $<TARGET_PROPERTY:Qt6::Test,INTERFACE_INCLUDE_DIRECTORIES>)
        target_precompile_headers(${name} PRIVATE <QTest>)
    endforeach()
    set_target_properties(quick_qt_headers PROPERTIES COMPILED_QUICKLY ON)
    share_qt_headers_in("${CMAKE_SOURCE_DIR}")
endfunction()

# share_qt_headers_in(DIRECTORY): lets its targets, and those of the folders below it, use them.
function(share_qt_headers_in directory)
    get_property(targets DIRECTORY "${directory}" PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target IN LISTS targets)
        get_target_property(type ${target} TYPE)
        get_target_property(uses_qt ${target} AUTOMOC)
        # glib, in the mocked bus, has members of a name that is a macro of Qt's.
        if(uses_qt AND type MATCHES "EXECUTABLE|STATIC_LIBRARY|OBJECT_LIBRARY" AND NOT target STREQUAL usb_bus)
            get_target_property(quickly ${target} COMPILED_QUICKLY)
            if(quickly)
                target_precompile_headers(${target} REUSE_FROM quick_qt_headers)
            else()
                target_precompile_headers(${target} REUSE_FROM qt_headers)
            endif()
            # Empty in most tests: reading all of Qt for it takes seconds.
            get_target_property(unity ${target} UNITY_BUILD)
            if(NOT unity)
                get_target_property(generated ${target} BINARY_DIR)
                set_source_files_properties("${generated}/${target}_autogen/mocs_compilation.cpp"
                    TARGET_DIRECTORY ${target} PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
            endif()
        endif()
    endforeach()
    get_property(folders DIRECTORY "${directory}" PROPERTY SUBDIRECTORIES)
    foreach(folder IN LISTS folders)
        share_qt_headers_in("${folder}")
    endforeach()
endfunction()
