# What the platform's libraries export, as they are installed: a sanitizer adds to it. And that the project's checks
# notice what breaks its rules.
if(NOT IPTASKS_SANITIZE)
  add_script_test(doors LABELS platform golden smoke COMMAND ${TCLSH} ${CMAKE_CURRENT_SOURCE_DIR}/checks/doors.tcl
    ${PROJECT_SOURCE_DIR} ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
endif()
add_tcl_test(checks LABELS "platform;checks")
