# Power of transceiver and memory cores: records, the calculator, its data.
foreach(name power_calculator_test power_model_test power_record_test)
  add_unit_test(${name} LABELS power LINKS kdi_ip_objects)
endforeach()
add_tcl_test(power LABELS power)
