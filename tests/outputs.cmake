# What configured cores leave behind.
add_unit_test(core_outputs_test LABELS cores LINKS "kdi_hdf;kdi_ip;kdi_ippcw;kdi_cores;kdi_cdo;kdi_device;kdi_common;iptasks_tcl")
target_sources(core_outputs_test PRIVATE unit/real_outputs_test.cpp)
add_dependencies(core_outputs_test test_tclsh)
