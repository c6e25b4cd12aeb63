# Devices, parts and the data behind them.
find_package(nlohmann_json REQUIRED)
add_unit_test(device_data_test SMOKE LABELS "device;platform" LINKS kdi_device)
add_unit_test(device_parts_test SMOKE LABELS "device;platform" LINKS kdi_device)
add_unit_test(device_pattern_test LABELS "device;platform" LINKS kdi_device_objects)
add_unit_test(device_reader_test LABELS "device;platform" LINKS "kdi_device;nlohmann_json::nlohmann_json")
