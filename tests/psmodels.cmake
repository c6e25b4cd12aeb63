# Models of the processing system.
add_tcl_test(java_entries LABELS psmodels)

# The models, and the commands that reach cores without one, against cores that record. These stand in the test's program,
# before those of the platform.
find_package(Boost REQUIRED COMPONENTS thread)
add_library(recording_core OBJECT support/recording_core.cpp)
target_link_libraries(recording_core PRIVATE test_support)
target_compile_options(recording_core PRIVATE -O0)
function(add_recorded_test name)
  add_unit_test(${name} ${ARGN} LINKS "recording_core;kdi_ippcw;Boost::thread;${CMAKE_DL_LIBS}")
  set_target_properties(${name} PROPERTIES ENABLE_EXPORTS ON)
  target_link_options(${name} PRIVATE -Wl,--no-as-needed)
endfunction()
add_recorded_test(model_table_test SMOKE LABELS psmodels)
add_recorded_test(pspmc_model_test LABELS psmodels)
add_recorded_test(psxl_model_test LABELS psmodels)
add_recorded_test(pcw_model_test LABELS psmodels)
add_recorded_test(java_entries_test LABELS psmodels)
target_link_libraries(java_entries_test PRIVATE iptasks_jni)
add_recorded_test(hardip_commands_test LABELS "hardip;frame")
add_tcl_test(hardip LABELS hardip)

# The commands that write files, against writers that record as well.
add_recorded_test(hardip_output_test LABELS hardip)
target_sources(hardip_output_test PRIVATE support/recording_output.cpp $<FILTER:$<TARGET_OBJECTS:hardip>,INCLUDE,attributes|boot_program|output_package|power_io_files|task_target>)
target_link_libraries(hardip_output_test PRIVATE kdi_hdf kdi_hsm kdi_device)

# The driver: with a generator that records, and for real.
add_recorded_test(driver_test LABELS psmodels)
target_sources(driver_test PRIVATE support/recording_output.cpp)
target_link_libraries(driver_test PRIVATE kdi_hdf kdi_hsm)
add_unit_test(driver_data_test LABELS psmodels LINKS "kdi_ippcw;kdi_cores;kdi_cdo;kdi_common;${CMAKE_DL_LIBS}")
tests_of(cdo_driver psmodels)
