# What the platform's libraries export, and that the project's checks notice what breaks its rules.
add_test(NAME doors COMMAND ${TCLSH} ${CMAKE_CURRENT_SOURCE_DIR}/checks/doors.tcl ${PROJECT_SOURCE_DIR}
  ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set_tests_properties(doors PROPERTIES LABELS "platform;golden" TIMEOUT 120)
add_tcl_test(checks LABELS "platform;checks")
