# For every Qt Test: no screen, and a time limit above those of ctest, which are to act first.
set(QT_TEST_ENVIRONMENT
    "QT_QPA_PLATFORM=offscreen" "QTEST_FUNCTION_TIMEOUT=2000000" # milliseconds
    ${SANITIZER_ENVIRONMENT})

# add_test_program(NAME [LONG] [MAIN main.cpp] TESTS tst_a.cpp... LIBRARIES...)
#
# One program of several Qt Test classes, one per file (tests/support/TestProgram.h), which saves linking
# a program for each. For ctest each class is a test of its own, named like its file and labelled like
# its folder, as every test is. LONG: that tests which run for long are worth optimising.
function(add_test_program NAME)
    cmake_parse_arguments(PARSE_ARGV 1 arg "LONG" "MAIN" "TESTS;LIBRARIES")
    if(NOT arg_MAIN)
        set(arg_MAIN "${CMAKE_SOURCE_DIR}/tests/support/test_main.cpp")
    endif()
    qt_add_executable(${NAME} "${arg_MAIN}" ${arg_TESTS})
    target_link_libraries(${NAME} PRIVATE project_options Qt6::Test Qt6::Widgets ${arg_LIBRARIES})
    if(NOT arg_LONG)
        set_target_properties(${NAME} PROPERTIES COMPILED_QUICKLY ON)
    endif()
    foreach(source IN LISTS arg_TESTS)
        cmake_path(GET source STEM test)
        add_test(NAME ${test} COMMAND ${NAME} ${test})
        cmake_path(GET CMAKE_CURRENT_SOURCE_DIR FILENAME label)
        set_tests_properties(${test} PROPERTIES LABELS ${label}
            ENVIRONMENT "${QT_TEST_ENVIRONMENT}")
    endforeach()
endfunction()

# on_mocked_bus(TEST): lets a ctest test run with the preloaded library that makes its process see the
# adapters that it plugs into a mocked USB bus (virtualboard/UsbBus.h).
function(on_mocked_bus TEST)
    set_tests_properties(${TEST} PROPERTIES
        ENVIRONMENT "LD_PRELOAD=libumockdev-preload.so.0;${QT_TEST_ENVIRONMENT}")
endfunction()
