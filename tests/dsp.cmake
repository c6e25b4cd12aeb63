add_unit_test(lanczos_test LABELS dsp)
add_unit_test(radix2_transform_test LABELS dsp)
add_tcl_test(dsp LABELS dsp)
add_unit_test(ducddc_catalogue_test LABELS dsp LINKS ducddc_chain)
