# What people read of cores: the report, the reference, explanations, rules in words.
add_unit_test(report_test OPTIMISED LABELS "cores;golden" LINKS "kdi_corepages;kdi_cores;kdi_common")
add_unit_test(explanation_text_test LABELS "cores;golden" LINKS "kdi_corepages;kdi_cores;kdi_common")
add_unit_test(reference_test OPTIMISED LABELS "cores;golden" LINKS "kdi_corepages;kdi_cores;kdi_common")
add_unit_test(rule_words_test LABELS cores LINKS kdi_cores)
