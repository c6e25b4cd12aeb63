# The rules of cores, and the numbers that they compute with.
find_package(Boost REQUIRED)
add_unit_test(decimal_test LABELS cores LINKS kdi_cores Boost::headers)
add_unit_test(rule_language_test LABELS cores LINKS kdi_cores_objects)
add_unit_test(rule_truth_test OPTIMISED LABELS cores LINKS kdi_cores_objects Boost::headers)
add_unit_test(core_reader_test LABELS cores LINKS kdi_cores_objects)
add_unit_test(core_models_test OPTIMISED LABELS cores LINKS kdi_cores_objects)
add_unit_test(core_truth_test OPTIMISED LABELS cores LINKS kdi_cores_objects Boost::headers)
add_unit_test(explain_test LABELS cores LINKS kdi_cores_objects)
