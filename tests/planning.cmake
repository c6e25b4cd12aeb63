# Placement of memory interfaces.
add_unit_test(planning_test OPTIMISED SMOKE LABELS planning LINKS "kdi_planning_objects;kdi_ddr;kdi_device")
target_sources(planning_test PRIVATE
  unit/bus_rules_test.cpp unit/buses_test.cpp unit/diagnosis_test.cpp unit/hard_controllers_test.cpp unit/joint_test.cpp unit/mending_test.cpp
  unit/planning_coverage_test.cpp unit/planning_data_test.cpp unit/planning_rules_test.cpp)
# The companion on it.
add_tcl_test(memtools LABELS "planning;host")
