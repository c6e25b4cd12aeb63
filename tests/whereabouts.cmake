# Where libraries and data are looked for, whatever the working directory is by then.
add_library(planted SHARED support/planted.c)
target_link_libraries(planted PRIVATE iptasks_flags)
set_target_properties(planted PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
tests_of(planted host smoke)
tests_of(kdish host smoke)
add_tcl_test(whereabouts LABELS "frame;platform;host")
set_property(TEST tcl.whereabouts APPEND PROPERTY ENVIRONMENT "IPTASKS_PLANTED=$<TARGET_FILE:planted>")
