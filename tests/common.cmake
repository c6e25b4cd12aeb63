# The services of platform/common.
foreach(name gui_event_test hpa_param_mgr_test hut_file_test i18n_test kdi_file_test kdi_json_test tcl_services_test)
  add_unit_test(${name} LABELS platform)
endforeach()
add_tcl_test(common LABELS platform)
# Readers and writers of all platform libraries, over file calls that fail to order.
add_unit_test(file_faults_test LABELS platform LINKS "kdi_bmg;kdi_device;kdi_ip;${CMAKE_DL_LIBS}")
target_sources(file_faults_test PRIVATE support/file_faults.cpp)
set_target_properties(file_faults_test PROPERTIES ENABLE_EXPORTS ON)
target_link_options(file_faults_test PRIVATE -Wl,--no-as-needed)
