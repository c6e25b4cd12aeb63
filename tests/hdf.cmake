# Hardware definitions.
add_unit_test(hardware_definition_test LABELS "hardip;platform" LINKS kdi_hdf)
add_unit_test(param_info_test LABELS "hardip;platform" LINKS kdi_hdf)

# What cores leave behind beside it.
find_package(nlohmann_json REQUIRED)
find_package(pugixml REQUIRED)
add_unit_test(handoff_test LABELS hardip LINKS kdi_ippcw)
add_unit_test(component_json_test LABELS hardip LINKS "kdi_ippcw;pugixml::pugixml;nlohmann_json::nlohmann_json")

# The boot program: the sources themselves, over registers that behave.
set(boot_sources main cdo)
list(TRANSFORM boot_sources REPLACE "(.+)" "${PROJECT_SOURCE_DIR}/data/software/tavrel_plm/\\1.c")
add_library(boot_sources OBJECT ${boot_sources})
target_link_libraries(boot_sources PRIVATE iptasks_flags)
target_compile_options(boot_sources PRIVATE -std=c11 -Wpedantic -fexceptions)
add_unit_test(boot_program_test LABELS hardip LINKS "boot_sources;kdi_cores_objects;kdi_cdo;kdi_hsm")
target_link_options(boot_program_test PRIVATE -Wl,--defsym=plm_window_end=plm_window+0x100000)

# All of it while the system's calls fail.
add_unit_test(output_faults_test LABELS hardip LINKS "kdi_hdf;kdi_hsm;kdi_ippcw;kdi_device;${CMAKE_DL_LIBS}")
target_sources(output_faults_test PRIVATE support/file_faults.cpp)
set_target_properties(output_faults_test PROPERTIES ENABLE_EXPORTS ON)
target_link_options(output_faults_test PRIVATE -Wl,--no-as-needed)

add_unit_test(state_file_test LABELS hardip LINKS "kdi_hdf;kdi_ippcw")
