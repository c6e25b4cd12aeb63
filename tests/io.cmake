# I/O planning: the commands against an engine that records, which stands in the program before the platform's, and over
# the real one.
add_unit_test(io_commands_test LABELS io)
target_sources(io_commands_test PRIVATE support/recording_interfaces.cpp)
set_target_properties(io_commands_test PROPERTIES ENABLE_EXPORTS ON)
add_tcl_test(io LABELS io)

# What the library hides of its own.
add_unit_test(place_test LABELS io LINKS "kdi_place_objects;kdi_planning;kdi_device;iptasks_tcl")
target_sources(place_test PRIVATE unit/remove_directory_test.cpp)
