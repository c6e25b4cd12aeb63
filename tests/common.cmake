# The services of platform/common.
add_unit_test(kdi_file_test LABELS platform)
add_unit_test(kdi_json_test LABELS platform)
