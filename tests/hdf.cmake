# Hardware definitions.
add_unit_test(hardware_definition_test LABELS "hardip;platform" LINKS kdi_hdf)
add_unit_test(param_info_test LABELS "hardip;platform" LINKS kdi_hdf)

# What cores leave behind beside it.
find_package(nlohmann_json REQUIRED)
find_package(pugixml REQUIRED)
add_unit_test(handoff_test LABELS hardip LINKS kdi_ippcw)
add_unit_test(component_json_test LABELS hardip LINKS "kdi_ippcw;pugixml::pugixml;nlohmann_json::nlohmann_json")
