# What the platform's libraries export, and that the project's checks notice what breaks its rules.
add_script_test(doors LABELS platform golden smoke COMMAND ${TCLSH} ${CMAKE_CURRENT_SOURCE_DIR}/checks/doors.tcl
  ${PROJECT_SOURCE_DIR} ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
add_tcl_test(checks LABELS "platform;checks")
