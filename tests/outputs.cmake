# What configured cores leave behind.
add_unit_test(core_outputs_test LABELS cores LINKS "register_memory;kdi_ippcw;kdi_cores;kdi_cdo;kdi_device;kdi_common")
