# The earlier processing systems.
add_unit_test(zorvan_commands_test LABELS zorvan LINKS "kdi_ippcw;isl_iostreams;kdi_common")
add_unit_test(zorvan_threads_test LABELS zorvan LINKS kdi_ippcw)
add_tcl_test(zorvan LABELS zorvan)
add_unit_test(boot_loader_files_test LABELS zorvan LINKS "kdi_cores;kdi_ippcw;kdi_cdo;iptasks_tcl;${CMAKE_DL_LIBS}")
set_target_properties(boot_loader_files_test PROPERTIES ENABLE_EXPORTS ON)
add_unit_test(memory_timing_test LABELS zorvan LINKS "kdi_cores;kdi_ddr_objects")
