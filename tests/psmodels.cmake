# Models of the processing system.
add_unit_test(name_table_test SMOKE LABELS psmodels)
