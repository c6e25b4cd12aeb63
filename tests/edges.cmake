# What every command keeps to, whatever its family: under locales of other countries, and with names of files.
add_unit_test(locale_test SMOKE LABELS frame LINKS command_table)
add_dependencies(locale_test kdi_fectools kdi_bmgtools kdi_clocktools kdi_coretools kdi_gttools kdi_dsptools kdi_iotools kdi_memtools)
add_tcl_test(files LABELS "platform;dsp")
add_script_test(imports LABELS platform smoke
  COMMAND ${TCLSH} ${CMAKE_CURRENT_SOURCE_DIR}/checks/imports.tcl ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
# Memory that runs out, at each request for it in turn.
add_unit_test(failing_memory_test SMOKE LABELS "frame;platform"
  LINKS "kdish_parts;kdi_bmg;kdi_device;kdi_ip;kdi_ippcw;${CMAKE_DL_LIBS}")
add_dependencies(failing_memory_test kdi_fectools kdi_bmgtools kdi_clocktools kdi_coretools kdi_gttools kdi_dsptools kdi_iotools kdi_memtools)
target_sources(failing_memory_test PRIVATE support/failing_memory.cpp)
set_target_properties(failing_memory_test PROPERTIES ENABLE_EXPORTS ON)
