# The shell, the command table behind it, and the reference that is made from it.
find_package(nlohmann_json REQUIRED)
set(golden command_reader_test shell_script_test)  # compare whole texts with files
foreach(name command_end_test command_reader_test command_table_test completion_test journal_test result_json_test shell_script_test shell_terminal_test)
  set(labels shell)
  if(name IN_LIST golden)
    list(APPEND labels golden)
  endif()
  set(smoke)
  if(name STREQUAL "command_table_test")  # under sanitizers it tries one name of each entry
    set(smoke SMOKE)
  endif()
  add_unit_test(${name} ${smoke} LABELS "${labels}" LINKS "kdish_parts;nlohmann_json::nlohmann_json;util")
  add_dependencies(${name} kdish command_docs kdi_fectools)
endforeach()
target_link_libraries(command_table_test PRIVATE kdi_device kdi_planning)  # which it has read what examples need

# What the pages tell people to paste, in the optimised build alone: it runs nearly everything once, which has tests of its own.
if(NOT IPTASKS_SANITIZE)
  add_tcl_test(pages LABELS shell)
  foreach(target kdish kdi_cdo_program kdi_parts ducddcgen filter_report kdi_fectools kdi_bmgtools kdi_clocktools kdi_coretools kdi_gttools)
    tests_of(${target} shell smoke)
  endforeach()
endif()
