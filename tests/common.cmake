# The services of platform/common.
foreach(name gui_event_test hpa_param_mgr_test hut_file_test i18n_test kdi_file_test kdi_json_test tcl_services_test)
  add_unit_test(${name} LABELS platform)
endforeach()
add_tcl_test(common LABELS platform)
