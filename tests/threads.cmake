# What the platform and the commands promise to several threads. The preset `tsan` builds these tests alone.
add_unit_test(services_threads_test LABELS platform LINKS "kdi_bmg;kdi_device;kdi_ip")
add_unit_test(clock_threads_test LABELS clocking LINKS "kdi_device;kdi_ip")
add_unit_test(family_threads_test LABELS frame LINKS command_table)
add_dependencies(family_threads_test kdi_fectools kdi_bmgtools kdi_clocktools kdi_coretools kdi_gttools kdi_dsptools kdi_iotools kdi_memtools)
add_unit_test(gtwiz_threads_test LABELS gtwiz LINKS "kdi_rule_engine;kdi_common")
add_unit_test(real_cores_threads_test LABELS cores LINKS "kdi_cores;kdi_ippcw;kdi_device;kdi_common")
add_unit_test(hard_ip_threads_test LABELS cores LINKS "kdi_ippcw;kdi_device;kdi_common")
add_unit_test(core_truth_threads_test LABELS cores LINKS kdi_cores_objects Boost::headers)
