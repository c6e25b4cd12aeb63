# The services of platform/common.
foreach(name gui_event_test hpa_param_mgr_test hut_file_test i18n_test kdi_file_test kdi_instances_test kdi_json_test kdi_number_test kdi_text_test
    tcl_services_test)
  add_unit_test(${name} LABELS platform)
endforeach()
target_sources(hpa_param_mgr_test PRIVATE $<FILTER:$<TARGET_OBJECTS:kdi_common_objects>,INCLUDE,shipped_default>)
add_tcl_test(common LABELS platform)
# Readers and writers of all platform libraries, and of the shell and the commands, over file calls that fail to order.
add_unit_test(file_faults_test LABELS platform LINKS "kdi_bmg;kdi_coregen;kdi_cores;kdi_ddr;kdi_device;kdi_hdf;kdi_ip;kdi_planning;${CMAKE_DL_LIBS}")
add_unit_test(tool_file_faults_test LABELS "shell;dsp;fec" LINKS "kdish_parts;${CMAKE_DL_LIBS}")
foreach(name file_faults_test tool_file_faults_test)
  target_sources(${name} PRIVATE support/file_faults.cpp)
  set_target_properties(${name} PROPERTIES ENABLE_EXPORTS ON)
  target_link_options(${name} PRIVATE -Wl,--no-as-needed)
endforeach()
