# Between Tcl and C++: values, and how commands are registered.
add_unit_test(tcl_values_test LABELS "frame;platform")
