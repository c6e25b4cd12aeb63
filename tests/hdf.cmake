# Hardware definitions.
add_unit_test(hardware_definition_test LABELS "hardip;platform" LINKS kdi_hdf)
add_unit_test(param_info_test LABELS "hardip;platform" LINKS kdi_hdf)
