# Transceivers: the commands over an engine that records, their readers, and the engine.
find_package(nlohmann_json REQUIRED)
add_unit_test(gtwiz_test OPTIMISED LABELS gtwiz
  LINKS "kdi_rule_engine;kdi_device;iptasks_tcl;nlohmann_json::nlohmann_json;${ELF_LIBRARY}")
target_sources(gtwiz_test PRIVATE unit/gtwiz_rates_test.cpp unit/gtwiz_quads_test.cpp unit/gtwiz_schema_test.cpp)
# What the library hides of its own.
target_sources(gtwiz_test PRIVATE $<FILTER:$<TARGET_OBJECTS:kdi_rule_engine_objects>,INCLUDE,elf_image|reference_plan>)
target_include_directories(gtwiz_test SYSTEM PRIVATE ${ELF_INCLUDE_DIR})
set_target_properties(gtwiz_test PROPERTIES ENABLE_EXPORTS ON)  # its functions stand before those of the engine's library
add_tcl_test(gtwiz LABELS gtwiz)
add_tcl_test(gttools LABELS "gtwiz;host")
