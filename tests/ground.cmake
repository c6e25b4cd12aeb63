# Between Tcl and C++: values, and how commands are registered.
foreach(name engine_rows_test tcl_command_test tcl_values_test)
  add_unit_test(${name} LABELS "frame;platform")
endforeach()
