# What people read of cores: the report, rules in words.
add_unit_test(report_test OPTIMISED LABELS "cores;golden" LINKS "kdi_corepages;kdi_cores;kdi_common")
