# add_unit_test(NAME SOURCE LIBRARIES...): a Qt Test that needs neither a port nor a window.
function(add_unit_test NAME SOURCE)
    qt_add_executable(${NAME} ${SOURCE})
    target_link_libraries(${NAME} PRIVATE project_options Qt6::Test ${ARGN})
    add_test(NAME ${NAME} COMMAND ${NAME})
    set_tests_properties(${NAME} PROPERTIES LABELS unit)
endfunction()

# add_test_program(NAME [MAIN main.cpp] TESTS tst_a.cpp... LIBRARIES...)
#
# One program of several Qt Test classes, a file each (tests/support/TestProgram.h): less to link than
# a program each. For ctest each class is a test of its own, named like its file. Label: unit.
function(add_test_program NAME)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "MAIN" "TESTS;LIBRARIES")
    if(NOT arg_MAIN)
        set(arg_MAIN "${CMAKE_SOURCE_DIR}/tests/support/test_main.cpp")
    endif()
    qt_add_executable(${NAME} "${arg_MAIN}" ${arg_TESTS})
    target_link_libraries(${NAME} PRIVATE project_options Qt6::Test Qt6::Widgets ${arg_LIBRARIES})
    foreach(source IN LISTS arg_TESTS)
        cmake_path(GET source STEM test)
        add_test(NAME ${test} COMMAND ${NAME} ${test})
        set_tests_properties(${test} PROPERTIES LABELS unit
            ENVIRONMENT "QT_QPA_PLATFORM=offscreen;${SANITIZER_ENVIRONMENT}")
    endforeach()
endfunction()
