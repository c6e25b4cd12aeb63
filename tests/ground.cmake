# Between Tcl and C++: values, and how commands are registered.
foreach(name engine_rows_test tcl_command_test tcl_values_test)
  add_unit_test(${name} LABELS "frame;platform")
endforeach()

# Every row of a table of commands. The program has the commands' objects in it, and the function that counts words asks
# the test first; so it can be told each row without its handler being run.
get_property(families GLOBAL PROPERTY IPTASKS_FAMILIES)
list(REMOVE_ITEM families psmodels_driver)
get_property(engines GLOBAL PROPERTY IPTASKS_ENGINES)
list(REMOVE_DUPLICATES engines)
add_unit_test(rows_test SMOKE OBJECTS LABELS frame LINKS "${families};${engines};kdish_parts;kdi_cdo;kdi_planning;kdi_corepages;kdi_cores;kdi_ddr")
target_sources(rows_test PRIVATE
  $<TARGET_OBJECTS:kdi_fectools_objects>
  $<TARGET_OBJECTS:kdi_bmgtools_objects>
  $<TARGET_OBJECTS:kdi_clocktools_objects>
  $<TARGET_OBJECTS:kdi_coretools_objects>
  $<TARGET_OBJECTS:kdi_gttools_objects>
  $<TARGET_OBJECTS:kdi_dsptools_objects>
  $<TARGET_OBJECTS:kdi_iotools_objects>
  $<TARGET_OBJECTS:kdi_memtools_objects>
  $<TARGET_OBJECTS:chain_search>
  $<TARGET_OBJECTS:register_export>
  $<TARGET_OBJECTS:opened_core>
  $<FILTER:$<TARGET_OBJECTS:kdi_common_objects>,INCLUDE,kdi_commands>)
target_link_options(rows_test PRIVATE -Wl,--wrap=kdi_tcl_count_words)
