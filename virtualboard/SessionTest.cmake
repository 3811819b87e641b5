# add_session_test(NAME SOURCES... LIBRARIES... [TIMEOUT SECONDS])
#
# A Qt Test of one source file or more that runs on a mocked USB bus: the preloaded library makes the
# process itself see the adapters that it plugs in (UsbBus). Label: session.
function(add_session_test NAME)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "SOURCES;LIBRARIES")
    qt_add_executable(${NAME} ${arg_SOURCES})
    target_link_libraries(${NAME} PRIVATE project_options usb_bus Qt6::Test Qt6::SerialPort ${arg_LIBRARIES})
    add_test(NAME ${NAME} COMMAND ${NAME})
    on_mocked_bus(${NAME})
    if(arg_TIMEOUT)
        set_tests_properties(${NAME} PROPERTIES TIMEOUT ${arg_TIMEOUT})
    endif()
endfunction()

# on_mocked_bus(TEST): lets an existing ctest test run with the preloaded library.
function(on_mocked_bus TEST)
    set(environment "LD_PRELOAD=libumockdev-preload.so.0" "QT_QPA_PLATFORM=offscreen"
        "QTEST_FUNCTION_TIMEOUT=900000") # milliseconds; ctest's own limit comes first
    if(UPDATER_SANITIZE)
        list(APPEND environment ${SANITIZER_ENVIRONMENT})
    endif()
    set_tests_properties(${TEST} PROPERTIES LABELS session ENVIRONMENT "${environment}")
endfunction()
