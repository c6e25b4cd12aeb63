# Memory controllers: the commands against an engine that records, which stands in the program before the platform's, and
# over the real one.
add_unit_test(memory_commands_test LABELS memory)
target_sources(memory_commands_test PRIVATE support/recording_controllers.cpp)
set_target_properties(memory_commands_test PROPERTIES ENABLE_EXPORTS ON)
add_tcl_test(memory LABELS memory)
add_unit_test(controllers_threads_test LABELS memory
  LINKS "kdi_coregen_objects;kdi_place;kdi_planning;kdi_ddr;kdi_ip;kdi_device;kdi_common")
target_sources(controllers_threads_test PRIVATE unit/controller_pins_test.cpp unit/controller_words_test.cpp)
