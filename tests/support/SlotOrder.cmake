# tesk_add_slot_order_tests(NAME SOURCE LIBRARY...)
#
# Compiles SOURCE, which includes the headers of the classes, with a dump of its classes.
# Afterwards tesk_expect_slots(NAME CLASS SLOT...) adds a test for each class. GCC only: with
# another compiler both do nothing.
set(TESK_SLOT_ORDER_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/check-slot-order)

function(tesk_add_slot_order_tests name source)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        return()
    endif()
    add_library(${name} OBJECT ${source})
    target_link_libraries(${name} PRIVATE ${ARGN})
    target_compile_options(${name} PRIVATE
        -fdump-lang-class=${CMAKE_CURRENT_BINARY_DIR}/${name}.class)
    # A cached object would come without its dump.
    set_target_properties(${name} PROPERTIES CXX_COMPILER_LAUNCHER "")
endfunction()

function(tesk_expect_slots name class)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        return()
    endif()
    add_test(NAME "SlotOrder.${class}"
        COMMAND ${TESK_SLOT_ORDER_SCRIPT} ${CMAKE_CURRENT_BINARY_DIR}/${name}.class ${class} ${ARGN})
endfunction()
