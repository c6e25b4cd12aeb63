# The earlier processing systems.
add_unit_test(zorvan_commands_test LABELS zorvan LINKS "kdi_ippcw;isl_iostreams;kdi_common")
add_unit_test(zorvan_threads_test LABELS zorvan LINKS kdi_ippcw)
add_tcl_test(zorvan LABELS zorvan)
