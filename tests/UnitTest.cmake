# add_unit_test(NAME SOURCE LIBRARIES...): a Qt Test that needs neither a port nor a window.
function(add_unit_test NAME SOURCE)
    qt_add_executable(${NAME} ${SOURCE})
    target_link_libraries(${NAME} PRIVATE project_options Qt6::Test ${ARGN})
    add_test(NAME ${NAME} COMMAND ${NAME})
    set_tests_properties(${NAME} PROPERTIES LABELS unit)
endfunction()
